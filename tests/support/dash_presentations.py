"""The DASH presentations: texts of manifests by file name."""

from block_cipher import encrypt_padded
from encrypt_mp4 import Encryption, box, boxes
from presentation_pieces import CODECS, Fragments, event_message, read, text_fragments, write

KEY = bytes(range(0, 256, 17))  # the same as in make_encrypted_media
KEY_ID = bytes.fromhex("0123456789abcdef0123456789abcdef")
VECTOR = bytes(range(16))
DEAD = "http://127.0.0.1:1/dead/"
NAMESPACES = ('xmlns="urn:mpeg:dash:schema:mpd:2011" xmlns:cenc="urn:mpeg:cenc:2013" '
              'xmlns:sea="urn:mpeg:dash:schema:sea:2012"')
PROFILES = "urn:mpeg:dash:profile:isoff-live:2011"


def mpd(*content, seconds=3, more="", head='<?xml version="1.0" encoding="UTF-8"?>\n', namespaces=NAMESPACES):
    return (f'{head}<MPD {namespaces} type="static" profiles="{PROFILES}" minBufferTime="PT1S"'
            f' mediaPresentationDuration="PT{seconds}S"{more}>\n' + "\n".join(content) + "\n</MPD>\n")


def period(*content, more=""):
    return f"<Period{more}>\n" + "\n".join(content) + "\n</Period>"


def mime(name):
    kind = "video" if name in ("v", "w", "x", "h", "m", "vp8") else "audio"
    return f'mimeType="{kind}/mp4"'


def representation(name, content="", bandwidth=300000, codecs=None):
    rate = f' bandwidth="{bandwidth}"' if bandwidth else ""
    size = {"w": ' width="160" height="90"'}.get(name, ' width="320" height="180"' if "video" in mime(name) else "")
    return f'<Representation id="{name}"{rate} codecs="{codecs or CODECS[name]}"{size}>{content}</Representation>'


def adaptation(*content, kind, more=""):
    return f'<AdaptationSet {kind}{more} segmentAlignment="true">' + "".join(content) + "</AdaptationSet>"


class Manifests:
    def __init__(self, folder):
        self.folder = folder
        self.pieces = {name: Fragments(folder, name)
                       for name in ("v", "w", "x", "h", "m", "a", "b", "ac3", "eac3", "opus")}
        self.pieces["opus"].write(folder)

    def timed(self, name, more="", numbers=None, first=0, prefix=None):
        """A template with a timeline that begins with segment `first`."""
        piece = self.pieces[name]
        lines = "".join(f'<S t="{piece.starts[number]}" d="{piece.durations[number]}"/>'
                        for number in (numbers or range(first, len(piece.parts))))
        prefix = prefix or name
        return (f'<SegmentTemplate timescale="{piece.scale}" initialization="{prefix}_init.mp4" startNumber="{first}"'
                f' media="{prefix}_$Number$.m4s"{more}><SegmentTimeline>{lines}</SegmentTimeline></SegmentTemplate>')

    def set(self, name, content=None, more="", kind=None, **details):
        content = self.timed(name) if content is None else content
        return adaptation(representation(name, content, **details), kind=kind or mime(name), more=more)

    def both(self, more=""):
        return self.set("v", more=more), self.set("a")

    def offset(self, name, seconds):
        return f' presentationTimeOffset="{round(seconds * self.pieces[name].scale)}"'

    def addressing(self):
        template = '<SegmentTemplate duration="1" startNumber="0" initialization="$RepresentationID$_init.mp4"' \
            ' media="$RepresentationID$_$Number%01d$.m4s"/>'
        repeated, lists, files, times, listed = [], [], [], [], []
        for name in ("v", "a"):
            piece = self.pieces[name]
            write(self.folder, name + "_joined.mp4", piece.header + b"".join(piece.parts))
            header, index = piece.write_indexed(self.folder, name + "_indexed.mp4")
            files.append(self.set(name, f'<BaseURL>{name}_indexed.mp4</BaseURL><SegmentBase indexRange="{index}"'
                                        f' timescale="{piece.scale}"><Initialization range="{header}"/></SegmentBase>'))
            for start, part in zip(piece.starts, piece.parts):
                write(self.folder, f"{name}_at_{start}.m4s", part)
            times.append(self.set(name, self.timed(name).replace("$Number$", "at_$Time$")))
            urls = "".join(f'<SegmentURL mediaRange="{first}-{last}"/>' for first, last in piece.ranges())
            span = f'<Initialization range="0-{len(piece.header) - 1}"/>'
            lists.append(self.set(name, f'<BaseURL>{name}_joined.mp4</BaseURL><SegmentList duration="1">{span}{urls}'
                                        "</SegmentList>"))
            urls = "".join(f'<SegmentURL media="{name}_{number}.m4s"/>' for number in range(3))
            listed.append(self.set(name, f'<SegmentList duration="{piece.scale}" timescale="{piece.scale}">'
                                         f'<Initialization sourceURL="{name}_init.mp4"/>{urls}</SegmentList>'))
            repeated.append(self.set(name, f'<SegmentTemplate timescale="1000" initialization="{name}_init.mp4"'
                                           f' startNumber="0" media="{name}_$Number$.m4s"><SegmentTimeline>'
                                           '<S t="0" d="1000" r="-1"/></SegmentTimeline></SegmentTemplate>'))
        inherited = period(template, *(self.set(name, "") for name in ("v", "a")))
        return {
            "dash_template.mpd": mpd(period(self.set("v", template), self.set("a", template))),
            "dash_inherited.mpd": mpd(inherited),
            "dash_timeline.mpd": mpd(period(*self.both())),
            "dash_time.mpd": mpd(period(*times)),
            "dash_negative_repeat.mpd": mpd(period(*repeated)),
            "dash_list.mpd": mpd(period(*listed)),
            "dash_ranges.mpd": mpd(period(*lists)),
            "dash_index.mpd": mpd(period(*files)),
            "dash_files.mpd": mpd(period(self.set("v", "<BaseURL>v.mp4</BaseURL>"),
                                         self.set("a", "<BaseURL>a.mp4</BaseURL>"))),
            "dash_whole_file.mpd": mpd(period(self.set("m", "<BaseURL>whole.mp4</BaseURL>",
                                                       codecs="avc1.42c00d,mp4a.40.2"))),
            "dash_muxed.mpd": mpd(period(self.set("m", codecs="avc1.42c00d,mp4a.40.2"))),
            "dash_webm.mpd": mpd(period(self.web("vp8.webm", "video", "vp8"), self.web("sound.webm", "audio", "opus"))),
        }

    def web(self, name, kind, codecs):
        content = read(self.folder, name)
        cluster = content.find(b"\x1f\x43\xb6\x75")
        cues = content.rfind(b"\x1c\x53\xbb\x6b", 0, cluster)
        index = f' indexRange="{cues}-{cluster - 1}"' if cues > 200 else ""
        return adaptation(f'<Representation id="{name}" bandwidth="300000" codecs="{codecs}">'
                          f'<BaseURL>{name}</BaseURL><SegmentBase{index}><Initialization range="0-{cues - 1}"/>'
                          "</SegmentBase></Representation>" if index else
                          f'<Representation id="{name}" bandwidth="300000" codecs="{codecs}">'
                          f"<BaseURL>{name}</BaseURL></Representation>", kind=f'mimeType="{kind}/webm"')

    def periods(self):
        # The second period begins with the second segment.
        second = [self.set(name, self.timed(name, self.offset(name, 1), first=1)) for name in ("x", "b")]
        inside = [self.set(name, f'<BaseURL>{name}_indexed.mp4</BaseURL><SegmentBase indexRange="{index}" timescale='
                                 f'"{piece.scale}"{self.offset(name, 0.4)}><Initialization range="{header}"/>'
                                 "</SegmentBase>")
                  for name, piece in ((name, self.pieces[name]) for name in ("v", "a"))
                  for header, index in [piece.write_indexed(self.folder, name + "_indexed.mp4")]]
        # The boundary is inside a segment of both tracks, and the video has no keyframe there.
        cut = [self.set(name, self.timed(name, self.offset(name, 1.4), first=1)) for name in ("v", "a")]
        return {
            "dash_periods.mpd": mpd(period(*self.both(), more=' id="1" duration="PT2S"'),
                                    period(*second, more=' id="2" start="PT2S"'), seconds=4),
            "dash_period_codecs.mpd": mpd(period(*self.both(), more=' id="1" duration="PT2S"'),
                                          period(self.set("h"), self.set("ac3"), more=' id="2" duration="PT2S"'),
                                          seconds=4),
            "dash_period_silent.mpd": mpd(period(*self.both(), more=' id="1" duration="PT2S"'),
                                          period(self.set("x"), more=' id="2" duration="PT2S"'), seconds=4),
            "dash_period_cut.mpd": mpd(period(*self.both(), more=' id="1" duration="PT1.4S"'),
                                       period(*cut, more=' id="2" duration="PT1.6S"')),
            "dash_period_empty.mpd": mpd(period(*self.both(), more=' id="1" duration="PT1S"'),
                                         period(more=' id="2" duration="PT0S"'),
                                         period(*second, more=' id="3" duration="PT2S"')),
            "dash_offset_inside.mpd": mpd(period(*inside), seconds=2.6),
            "dash_twice.mpd": mpd(period(*self.both(), more=' id="1" duration="PT1S"'),
                                  period(*self.both(), more=' id="2" duration="PT2S"')),
        }

    def sets(self):
        event = ('<EventStream schemeIdUri="urn:test" value="two" timescale="1000"><Event presentationTime="1000"'
                 ' duration="500" id="7">data</Event></EventStream>')
        for number, part in enumerate(self.pieces["v"].parts):
            write(self.folder, f"event_{number}.m4s", event_message(number) + part)
        write(self.folder, "event_init.mp4", self.pieces["v"].header)
        unknown = '<EssentialProperty schemeIdUri="urn:test:unknown" value="1"/>'
        role = '<Role schemeIdUri="urn:mpeg:dash:role:2011" value="{}"/>'
        return {
            "dash_variants.mpd": mpd(period(
                adaptation(representation("w", self.timed("w"), bandwidth=150000), representation("v", self.timed("v")),
                           kind='mimeType="video/mp4"'), self.set("a"))),
            "dash_events.mpd": mpd(period(event, self.set("v", self.timed("v", prefix="event")), self.set("a"))),
            "dash_roles.mpd": mpd(period(
                self.set("v"), self.set("a", role.format("main") + self.timed("a"), ' lang="en"'),
                self.set("b", role.format("commentary") + self.timed("b"), ' lang="en"'))),
            "dash_sounds.mpd": mpd(period(self.set("v"), *(
                self.set(name, more=f' lang="{language}"')
                for name, language in (("a", "en"), ("ac3", "fr"), ("eac3", "de"), ("opus", "es"))))),
            "dash_unknown_essential.mpd": mpd(period(
                adaptation(unknown, representation("w", self.timed("w")), kind='mimeType="video/mp4"'), *self.both())),
            "dash_octet_stream.mpd": mpd(period(
                adaptation(f'<Representation id="data" bandwidth="1">{self.timed("w")}</Representation>',
                           kind='mimeType="application/octet-stream"'), *self.both())),
            "dash_base_urls.mpd": mpd(
                f'<BaseURL serviceLocation="one">{DEAD}</BaseURL><BaseURL serviceLocation="two">../</BaseURL>',
                period("<BaseURL>presentations/</BaseURL>", self.set(
                    "v", f"<BaseURL>./</BaseURL>{self.timed('v')}"), self.set("a"))),
            "dash_long_tag.mpd": mpd(period(*self.both()), namespaces=NAMESPACES + "".join(
                f' xmlns:more{number}="urn:test:a-name-of-some-length:{number}"' for number in range(40))),
            "dash_comment_first.mpd": mpd(period(*self.both()), head=f"<!-- {'word ' * 200}-->\n"),
            "dash_no_bandwidth.mpd": mpd(period(self.set("v", bandwidth=0), self.set("a", bandwidth=0))),
            "dash_missing_middle.mpd": mpd(period(self.set("v", self.lacking("v", 1)), self.set("a"))),
            "dash_missing_both.mpd": mpd(period(*(self.set(name, self.lacking(name, 1)) for name in ("v", "a")))),
            "dash_missing_end.mpd": mpd(period(self.set("v", self.lacking("v", 2)), self.set("a"))),
            "dash_missing_sound.mpd": mpd(period(self.set("v"), *(
                [self.set("a", "".join(self.timed("a", prefix="none")))]))),
        }

    def lacking(self, name, number):
        urls = "".join(f'<SegmentURL media="{"none" if each == number else name}_{each}.m4s"/>' for each in range(3))
        return (f'<SegmentList duration="1"><Initialization sourceURL="{name}_init.mp4"/>{urls}</SegmentList>')

    def texts(self):
        text_fragments(self.folder, "wvtt", b"wvtt", [
            box(b"vttc", box(b"payl", b"Guten Tag")), box(b"vtte"), box(b"vttc", box(b"payl", b"Ende"))])
        write(self.folder, "german.vtt", "WEBVTT\n\n00:00.000 --> 00:00.900\nGuten Tag\n\n00:02.000 --> 00:02.900\nEnde\n")
        write(self.folder, "german.ttml",
              '<tt xmlns="http://www.w3.org/ns/ttml"><body><div><p begin="0s" end="0.9s">Guten Tag</p>'
              '<p begin="2s" end="2.9s">Ende</p></div></body></tt>')
        segments = '<SegmentTemplate duration="1" startNumber="0" initialization="{0}_init.mp4" media="{0}_$Number$.m4s"/>'

        def texts(name, kind, content):
            return {f"dash_{name}.mpd": mpd(period(*self.both(), adaptation(
                f'<Representation id="text" bandwidth="100">{content}</Representation>', kind=kind,
                more=' lang="de"')))}
        return (texts("wvtt", 'mimeType="application/mp4" codecs="wvtt"', segments.format("wvtt"))
                | texts("stpp", 'mimeType="application/mp4" codecs="stpp"', segments.format("imsc"))
                | texts("webvtt", 'mimeType="text/vtt"', "<BaseURL>german.vtt</BaseURL>")
                | texts("ttml", 'mimeType="application/ttml+xml"', "<BaseURL>german.ttml</BaseURL>"))

    def encrypted(self):
        whole = []
        for name in ("v", "a"):
            write(self.folder, f"whole_{name}_init.mp4", self.pieces[name].header)
            for number, part in enumerate(self.pieces[name].parts):
                write(self.folder, f"whole_{name}_{number}.m4s", encrypt_padded(KEY, VECTOR, part))
            whole.append(self.set(name, '<ContentProtection schemeIdUri="urn:mpeg:dash:sea:2012">'
                                        '<sea:SegmentEncryption schemeIdUri="urn:mpeg:dash:sea:aes128-cbc:2013"/>'
                                        f'<sea:CryptoPeriod offset="0" keyUriTemplate="key.bin" IV="0x{VECTOR.hex()}"/>'
                                        f"</ContentProtection>{self.timed(name, prefix='whole_' + name)}"))
        secret = {}
        for scheme in ("cenc", "cbcs"):
            for name in ("v", "a"):
                encryption = Encryption(KEY, KEY_ID, scheme)
                piece = self.pieces[name]
                header = b"".join(encryption.protect_header(body) if kind == b"moov" else box(kind, body)
                                  for kind, body in boxes(piece.header))
                write(self.folder, f"{scheme}_{name}_init.mp4", header)
                for number, part in enumerate(piece.parts):
                    parts = dict(boxes(part))
                    write(self.folder, f"{scheme}_{name}_{number}.m4s",
                          b"".join(encryption.protect_fragment(parts[b"moof"], parts[b"mdat"])))
            said = ('<ContentProtection schemeIdUri="urn:mpeg:dash:mp4protection:2011" value="{}"'
                    ' cenc:default_KID="01234567-89ab-cdef-0123-456789abcdef"/>').format(scheme)
            secret[scheme] = [self.set(name, said + self.timed(name, prefix=f"{scheme}_{name}"))
                              for name in ("v", "a")]
        clear_first = mpd(period(*self.both(), more=' id="1" duration="PT1S"'),
                          period(*secret["cenc"], more=' id="2" duration="PT3S"'), seconds=4)
        return {
            "dash_whole_encrypted.mpd": mpd(period(*whole)),
            "dash_cenc.mpd": mpd(period(*secret["cenc"])),
            "dash_cbcs.mpd": mpd(period(*secret["cbcs"])),
            "dash_clear_first.mpd": clear_first,
        }


def presentations(folder):
    manifests = Manifests(folder)
    return (manifests.addressing() | manifests.periods() | manifests.sets() | manifests.texts()
            | manifests.encrypted())
