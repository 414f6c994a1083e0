"""Changes of texts and media, as decided by a random generator."""

NUMBERS = ["0", "1", "-1", "2147483648", "4294967296", "9223372036854775807", "18446744073709551616", "1e308", "nan",
           "0.001", "99999999999"]


def mutate_text(text, generator):
    """Returns a text with some of its lines or numbers changed."""
    lines = text.splitlines(keepends=True) or [""]
    for _ in range(generator.choice((1, 1, 2, 5))):
        at = generator.randrange(len(lines))
        kind = generator.randrange(7)
        if kind == 0 and len(lines) > 1:
            del lines[at]
        elif kind == 1:
            lines.insert(generator.randrange(len(lines)), lines[at])
        elif kind == 2:
            other = generator.randrange(len(lines))
            lines[at], lines[other] = lines[other], lines[at]
        elif kind == 3:
            lines[at:at + 1] = [lines[at]] * generator.choice((10, 1000, 20000))
        elif kind == 4:
            lines[at] = mutate_bytes(lines[at].encode(), generator).decode("utf-8", "replace")
        elif kind == 5:
            lines[at] = lines[at].replace(generator.choice("\"=:,<>/"), generator.choice(["", "\"", "&", "{$x}"]), 1)
        else:
            lines[at] = change_number(lines[at], generator)
    return "".join(lines)


def change_number(line, generator):
    places = [at for at, letter in enumerate(line) if letter.isdigit() and (at == 0 or not line[at - 1].isdigit())]
    if not places:
        return line
    begin = generator.choice(places)
    end = begin
    while end < len(line) and line[end].isdigit():
        end += 1
    return line[:begin] + generator.choice(NUMBERS) + line[end:]


def mutate_bytes(content, generator):
    """Returns bytes with some of them changed, removed or repeated."""
    content = bytearray(content)
    # The heads of files decide most.
    size = generator.choice((len(content), min(len(content), 4096), min(len(content), 256)))
    for _ in range(generator.choice((1, 1, 3, 30))):
        if not content:
            break
        at = min(generator.randrange(size + 1), len(content) - 1)
        length = generator.choice((1, 4, 188, 1000))
        kind = generator.randrange(7)
        if kind == 0:
            content[at] ^= 1 << generator.randrange(8)
        elif kind == 1:
            content[at:at + 4] = generator.choice((b"\0\0\0\0", b"\xff\xff\xff\xff", b"\x7f\xff\xff\xff", b"\0\0\0\1"))
        elif kind == 2:
            content[at:at + length] = generator.randbytes(length)
        elif kind == 3:
            del content[at:at + length]
        elif kind == 4:
            content[at:at] = content[at:at + length]
        elif kind == 5:
            content[at:at + length] = bytes(length)
        elif generator.randrange(4) == 0:
            del content[at:]
    return bytes(content)
