"""The HLS presentations: texts of playlists by file name."""

import os

from block_cipher import encrypt, encrypt_padded
from presentation_pieces import Fragments, read, text_fragments, write

KEY = bytes(range(0, 256, 17))
VECTOR = bytes(range(16))
CUES = ("Guten Tag", "", "Ende")


def entries(*names, duration=1):
    return [f"#EXTINF:{duration},\n{name}" for name in names]


def playlist(*lines, target=1, version=7, end=True):
    head = ["#EXTM3U", f"#EXT-X-VERSION:{version}", f"#EXT-X-TARGETDURATION:{target}"]
    return "\n".join([*head, *lines, *(["#EXT-X-ENDLIST"] if end else [])]) + "\n"


def master(*lines):
    return "\n".join(["#EXTM3U", *lines]) + "\n"


def variant(uri, more="", bandwidth=500000, codecs="avc1.42c00d,mp4a.40.2", size="320x180"):
    return f'#EXT-X-STREAM-INF:BANDWIDTH={bandwidth},CODECS="{codecs}",RESOLUTION={size}{more}\n{uri}'


def rendition(kind, group, name, uri, more=""):
    location = f',URI="{uri}"' if uri else ""
    return f'#EXT-X-MEDIA:TYPE={kind},GROUP-ID="{group}",NAME="{name}"{location}{more}'


def fragmented(name, numbers=range(3)):
    return [f'#EXT-X-MAP:URI="{name}_init.mp4"', *entries(*(f"{name}_{number}.m4s" for number in numbers))]


def numbered(pattern, count=3):
    return entries(*(pattern % number for number in range(count)))


def encrypt_samples_of_aac(content):
    """Encrypts each frame separately. The header, the next 16 bytes and an incomplete last block stay clear."""
    tag = 10 + sum(byte << shift for byte, shift in zip(content[6:10], (21, 14, 7, 0)))
    result, at = bytearray(content[:tag]), tag
    while at < len(content):
        size = (content[at + 3] & 3) << 11 | content[at + 4] << 3 | content[at + 5] >> 5
        clear = (7 if content[at + 1] & 1 else 9) + 16
        secret = max(0, size - clear) // 16 * 16
        result += content[at:at + clear]
        if size > clear:
            result += encrypt(KEY, VECTOR, content[at + clear:at + clear + secret])
            result += content[at + clear + secret:at + size]
        at += size
    return bytes(result)


def make_side_files(folder):
    for name in ("v", "w", "x", "h", "m", "a", "b", "ac3", "eac3"):
        Fragments(folder, name).write(folder)
    write(folder, "key.bin", KEY)
    for number in range(3):
        content = read(folder, f"ts_{number}.ts")
        write(folder, f"secret_{number}.ts", encrypt_padded(KEY, VECTOR, content))
        write(folder, f"counted_{number}.ts", encrypt_padded(KEY, (number + 7).to_bytes(16, "big"), content))
        write(folder, f"samples_{number}.aac", encrypt_samples_of_aac(read(folder, f"packed_{number}.aac")))
    write(folder, "joined.ts", b"".join(read(folder, f"ts_{number}.ts") for number in range(3)))
    write(folder, "empty.ts", "")
    for number, text in enumerate(CUES):
        cue = f"00:0{number}.000 --> 00:0{number}.900\n{text}\n" if text else ""
        write(folder, f"text_{number}.vtt", f"WEBVTT\nX-TIMESTAMP-MAP=LOCAL:00:00:00.000,MPEGTS:0\n\n{cue}")
    text_fragments(folder, "imsc", b"stpp", [
        (f'<tt xmlns="http://www.w3.org/ns/ttml"><body><div><p begin="{number}s" end="{number}.9s">{text}</p></div>'
         "</body></tt>").encode() for number, text in enumerate(CUES)])


def make_media_playlists(folder):
    """Writes the media playlists that several presentations use."""
    key_frames = ["#EXT-X-I-FRAMES-ONLY", *fragmented("w")]
    for name, lines in {
            "ts": numbered("ts_%d.ts"),
            "picture": numbered("picture_%d.ts"),
            "minute": numbered("minute_%d.ts"),
            "texts": numbered("text_%d.vtt"),
            "imsc": fragmented("imsc"),
            "key_frames": key_frames,
            "samples": [f'#EXT-X-KEY:METHOD=SAMPLE-AES,URI="key.bin",IV=0x{VECTOR.hex()}',
                        *numbered("samples_%d.aac")],
            **{"fragments_" + name: fragmented(name) for name in ("v", "w", "m", "a", "b", "ac3", "eac3")},
            **{"packed_" + kind: numbered("packed_%d." + kind) for kind in ("aac", "mp3", "ac3", "eac3")},
            "map_change": [*fragmented("v", [0]), *fragmented("w", [1]), *fragmented("v", [2])],
            "codec_change": [*fragmented("v", [0, 1]), "#EXT-X-DISCONTINUITY", *fragmented("h", [0, 1]),
                             "#EXT-X-DISCONTINUITY", *fragmented("w", [0])],
            "imports": ['#EXT-X-DEFINE:IMPORT="name"', *numbered("{$name}_%d.ts")],
    }.items():
        write(folder, f"media_{name}.m3u8", playlist(*lines))


def byte_ranges(folder):
    sizes = [os.path.getsize(os.path.join(folder, f"ts_{number}.ts")) for number in range(3)]
    lines = [f"#EXTINF:1,\n#EXT-X-BYTERANGE:{size}{'@0' if number == 0 else ''}\njoined.ts"
             for number, size in enumerate(sizes)]
    media = Fragments(folder, "m")
    write(folder, "joined_m.mp4", media.header + b"".join(media.parts))
    parts = [f"#EXTINF:1,\n#EXT-X-BYTERANGE:{last - first + 1}@{first}\njoined_m.mp4" for first, last in media.ranges()]
    return {
        "hls_byte_ranges_ts.m3u8": playlist(*lines),
        "hls_byte_ranges_mp4.m3u8": playlist(
            f'#EXT-X-MAP:URI="joined_m.mp4",BYTERANGE="{len(media.header)}@0"', *parts),
    }


def media_playlists():
    first, second, third = numbered("ts_%d.ts")
    return {
        "hls_ts.m3u8": playlist(first, second, third),
        "hls_one_segment.m3u8": playlist(*entries("joined.ts", duration=3), target=3),
        "hls_fragments.m3u8": playlist(*fragmented("m")),
        "hls_mp4_file.m3u8": playlist(*entries("whole.mp4", duration=3), target=3),
        "hls_mp4_files.m3u8": playlist("\n#EXT-X-DISCONTINUITY\n".join(numbered("whole_%d.mp4"))),
        "hls_packed_alone.m3u8": playlist(*numbered("packed_%d.aac")),
        "hls_container_change.m3u8": playlist(first, "#EXT-X-DISCONTINUITY", *fragmented("m", [0, 1])),
        "hls_discontinuity.m3u8": playlist(first, second, "#EXT-X-DISCONTINUITY", *numbered("later_%d.ts", 2),
                                           "#EXT-X-DISCONTINUITY", first),
        "hls_gap.m3u8": playlist(first, "#EXT-X-GAP", second.replace("ts_1", "none"), third, version=8),
        "hls_dates.m3u8": playlist(
            "#EXT-X-PROGRAM-DATE-TIME:2026-01-01T00:00:00.000Z", first, second, third,
            '#EXT-X-DATERANGE:ID="one",CLASS="spot",START-DATE="2026-01-01T00:00:01.000Z",DURATION=1,X-WHAT="this"'),
        "hls_define.m3u8": playlist(
            '#EXT-X-DEFINE:NAME="name",VALUE="ts"', '#EXT-X-DEFINE:QUERYPARAM="kind"',
            *numbered("{$name}_%d.{$kind}"), version=11),
        "hls_session_data.m3u8": master(
            '#EXT-X-SESSION-DATA:DATA-ID="org.example.title",VALUE="Title",LANGUAGE="en"', variant("media_ts.m3u8")),
        "hls_aes.m3u8": playlist(f'#EXT-X-KEY:METHOD=AES-128,URI="key.bin",IV=0x{VECTOR.hex()}',
                                 *numbered("secret_%d.ts")),
        "hls_aes_numbers.m3u8": playlist("#EXT-X-MEDIA-SEQUENCE:7", '#EXT-X-KEY:METHOD=AES-128,URI="key.bin"',
                                         *entries("counted_0.ts", "counted_1.ts"), "#EXT-X-KEY:METHOD=NONE", third),
        "hls_twice.m3u8": playlist(first, "#EXT-X-DISCONTINUITY", first, second),
        "hls_missing_middle.m3u8": playlist(first, *entries("none.ts"), third),
        "hls_missing_end.m3u8": playlist(first, second, *entries("none.ts")),
        "hls_empty_segment.m3u8": playlist(first, *entries("empty.ts"), third),
        "hls_texts_alone.m3u8": playlist(*numbered("text_%d.vtt")),
    }


def masters():
    sound = 'LANGUAGE="{}",DEFAULT={},AUTOSELECT=YES'
    english, french = sound.format("en", "YES"), sound.format("fr", "NO")
    texts = variant("media_ts.m3u8", ',SUBTITLES="t"')
    german = ',LANGUAGE="de",AUTOSELECT=YES'
    packed = {
        f"hls_packed_{kind}.m3u8": master(rendition("AUDIO", "s", "Sound", f"media_packed_{kind}.m3u8", ",DEFAULT=YES"),
                                          variant("media_picture.m3u8", ',AUDIO="s"', codecs=f"avc1.42c00d,{codec}"))
        for kind, codec in (("aac", "mp4a.40.2"), ("mp3", "mp4a.40.34"), ("ac3", "ac-3"), ("eac3", "ec-3"))}
    return packed | {
        "hls_map_change.m3u8": master(variant("media_map_change.m3u8", codecs="avc1.42c00d")),
        "hls_codec_change.m3u8": master(variant("media_codec_change.m3u8", codecs="avc1.42c00d,hvc1.1.6.L60.90")),
        "hls_variants.m3u8": master(
            variant("media_fragments_m.m3u8"),
            *(variant(f"media_fragments_{name}.m3u8", ',AUDIO="s"', rate, size=size)
              for name, rate, size in (("w", 150000, "160x90"), ("v", 300000, "320x180"))),
            rendition("AUDIO", "s", "Sound", "media_fragments_a.m3u8", ",DEFAULT=YES")),
        "hls_sounds.m3u8": master(
            *(rendition("AUDIO", group, name, f"media_fragments_{piece}.m3u8", "," + more)
              for group, name, piece, more in (("aac", "English", "a", english), ("aac", "French", "b", french),
                                               ("ac3", "English", "ac3", english), ("ac3", "French", "ac3", french),
                                               ("eac3", "English", "eac3", english))),
            *(variant("media_fragments_v.m3u8", f',AUDIO="{group}"', rate, f"avc1.42c00d,{codec}")
              for group, rate, codec in (("aac", 400000, "mp4a.40.2"), ("ac3", 600000, "ac-3"),
                                         ("eac3", 500000, "ec-3")))),
        "hls_unknown_codec.m3u8": master(
            variant("none.m3u8", bandwidth=900000, codecs="zzz1.1,mp4a.40.2"), variant("media_ts.m3u8")),
        "hls_webvtt.m3u8": master(rendition("SUBTITLES", "t", "Deutsch", "media_texts.m3u8", german), texts),
        "hls_imsc.m3u8": master(rendition("SUBTITLES", "t", "Deutsch", "media_imsc.m3u8", german), texts),
        "hls_captions.m3u8": master(
            rendition("CLOSED-CAPTIONS", "c", "English", "", ',LANGUAGE="en",INSTREAM-ID="CC1"'),
            variant("media_ts.m3u8", ',CLOSED-CAPTIONS="c"')),
        "hls_define_import.m3u8": master('#EXT-X-DEFINE:NAME="name",VALUE="ts"', variant("media_imports.m3u8")),
        "hls_steering.m3u8": master(
            '#EXT-X-CONTENT-STEERING:SERVER-URI="none.json",PATHWAY-ID="one"',
            variant("media_ts.m3u8", ',PATHWAY-ID="one"'),
            variant("media_ts.m3u8?two", ',PATHWAY-ID="two"')),
        "hls_key_frames.m3u8": master(
            variant("media_fragments_m.m3u8"),
            '#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=100000,CODECS="avc1.42c00b",URI="media_key_frames.m3u8"'),
        "hls_sample_aes.m3u8": master(rendition("AUDIO", "s", "Sound", "media_samples.m3u8", ",DEFAULT=YES"),
                                      variant("media_picture.m3u8", ',AUDIO="s"')),
        "hls_late_picture.m3u8": master(rendition("AUDIO", "s", "Sound", "media_packed_aac.m3u8", ",DEFAULT=YES"),
                                        variant("media_minute.m3u8", ',AUDIO="s"')),
        "hls_alternative.m3u8": master(variant("none.m3u8"), variant("media_ts.m3u8")),
        "hls_text_unavailable.m3u8": master(rendition("SUBTITLES", "t", "Deutsch", "none.m3u8", german), texts),
    }


def presentations(folder):
    make_side_files(folder)
    make_media_playlists(folder)
    return byte_ranges(folder) | media_playlists() | masters()
