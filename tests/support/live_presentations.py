"""Live presentations, valid and broken ones: playlists and manifests for the current time, with the segments of
make_presentations.

A programme starts five seconds before its first request and ends three seconds after it, except endless.m3u8,
which repeats. A request for a future segment or part waits until it is available.
"""

import datetime
import os
import threading
import time
import urllib.parse

BEFORE = 5
SECONDS = 8
WINDOW = 5
PARTS = 5  # in each segment, which lasts one second
LIMIT = 5  # the longest time that a request waits, in seconds
AHEAD = datetime.timedelta(hours=3)  # the clock of clock.mpd is ahead by this
SCALE = {"picture": 12800, "sound": 48000}


def stamp(seconds, more=datetime.timedelta()):
    date = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc) + more
    return date.isoformat(timespec="milliseconds").replace("+00:00", "Z")


class Programme:
    """The state of one playlist or manifest."""

    def __init__(self):
        self.began = time.time() - BEFORE
        self.requests = 0

    def elapsed(self):
        return min(SECONDS, time.time() - self.began)

    def wait(self, until):
        """Waits for the time `until` of the programme. False if that takes too long."""
        rest = self.began + until - time.time()
        if rest > LIMIT or until > SECONDS:
            return False
        time.sleep(max(0, rest))
        return True


def endless(programme):
    whole = int(time.time() - programme.began)
    first = whole - WINDOW
    lines = ["#EXTM3U", "#EXT-X-VERSION:7", "#EXT-X-TARGETDURATION:1", f"#EXT-X-MEDIA-SEQUENCE:{first}",
             f"#EXT-X-DISCONTINUITY-SEQUENCE:{(first - 1) // SECONDS}", '#EXT-X-MAP:URI="/presentations/live_init.mp4"']
    for number in range(first, whole):
        if number % SECONDS == 0:
            lines.append("#EXT-X-DISCONTINUITY")
        lines += ["#EXTINF:1,", f"/presentations/live_{number % SECONDS}.m4s"]
    return "\n".join(lines) + "\n"


def segments(first, end, *more):
    return "\n".join(["#EXTM3U", "#EXT-X-TARGETDURATION:1", f"#EXT-X-MEDIA-SEQUENCE:{first}", *more,
                      *(f"#EXTINF:1,\n/presentations/ts_{number % 3}.ts" for number in range(first, end))]) + "\n"


def dynamic(attributes, content=""):
    return (f'<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="dynamic" minimumUpdatePeriod="PT0.3S"{attributes}>'
            f"{content}</MPD>")


STARTED = ' availabilityStartTime="2026-01-01T00:00:00Z"'
TEMPLATE = ('<Period id="1" start="PT0S"><AdaptationSet mimeType="video/mp4"><SegmentTemplate duration="1"'
            ' initialization="/presentations/v_init.mp4" media="/presentations/v_0.m4s"/>'
            '<Representation id="v" bandwidth="1"/></AdaptationSet></Period>')
# The fault appears in the second or third response. `number` counts the requests.
BROKEN = {
    "shrinks.m3u8": lambda number: segments(0, max(0, 6 - 3 * number)),
    "jumps_back.m3u8": lambda number: segments(max(0, 1000 - 500 * number), max(0, 1000 - 500 * number) + 4),
    "jumps_far.m3u8": lambda number: segments(10 ** (4 * number), 10 ** (4 * number) + 4),
    "becomes_page.m3u8": lambda number: segments(0, 4) if number == 1 else "<!DOCTYPE html><html>Gone</html>",
    "becomes_manifest.m3u8": lambda number: segments(0, 4) if number == 1 else dynamic(STARTED, TEMPLATE),
    "becomes_master.m3u8": lambda number: segments(0, 4) if number == 1 else
    "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nbecomes_master.m3u8\n",
    "never_grows.m3u8": lambda number: segments(0, 1),
    "changes_key.m3u8": lambda number: segments(0, 3 + number, f'#EXT-X-KEY:METHOD=AES-128,URI="none{number}"'),
    "has_nothing.mpd": lambda number: dynamic(STARTED),
    "loses_period.mpd": lambda number: dynamic(STARTED, TEMPLATE if number == 1 else ""),
    "lasts_nothing.mpd": lambda number: dynamic(STARTED + ' mediaPresentationDuration="PT0S"', TEMPLATE),
    "is_of_the_future.mpd": lambda number: dynamic(' availabilityStartTime="2126-01-01T00:00:00Z"', TEMPLATE),
    "is_of_long_ago.mpd": lambda number: dynamic(' availabilityStartTime="0001-01-01T00:00:00Z"', TEMPLATE),
    "moves_its_start.mpd": lambda number: dynamic(f' availabilityStartTime="20{26 - number}-01-01T00:00:00Z"', TEMPLATE),
    "becomes_playlist.mpd": lambda number: dynamic(STARTED, TEMPLATE) if number == 1 else segments(0, 4),
    "names_itself.mpd": lambda number: dynamic(STARTED, "<Location>names_itself.mpd</Location>" + TEMPLATE),
    "is_patched_wrongly.mpd": lambda number: dynamic(
        STARTED, "<PatchLocation>is_patched_wrongly.mpd</PatchLocation>" + TEMPLATE),
}


class LivePresentations:
    def __init__(self, root):
        self.root = root
        self.programmes = {}
        self.lock = threading.Lock()

    def programme(self, name):
        with self.lock:
            programme = self.programmes.setdefault(name, Programme())
            programme.requests += 1
            return programme

    def answer(self, name, query):
        """The status, and the text of the body or the path of a file."""
        fields = dict(urllib.parse.parse_qsl(query))
        kind, _, form = name.partition(".")
        if name in BROKEN:
            return 200, BROKEN[name](self.programme(name).requests)
        if form == "m3u8":
            return self.playlist(self.programme(name), kind, fields)
        if form in ("mpd", "mpp"):
            return self.manifest(self.programme(kind), kind, form, fields)
        if name == "clock":
            return 200, stamp(time.time(), AHEAD)
        # Media: live_3.m4s, live_3_1.m4s, picture_live_3.m4s. The query names the programme.
        numbers = [int(part) for part in kind.split("_") if part.isdigit()]
        programme = self.programmes.get(fields.get("of", ""))
        if programme and numbers:
            end = numbers[0] + (1 if len(numbers) == 1 else (numbers[1] + 1) / PARTS)
            if not programme.wait(end):
                return 404, ""
        path = os.path.join(self.root, "presentations", os.path.basename(name))
        return (200, path) if os.path.isfile(path) else (404, "")

    def playlist(self, programme, kind, fields):
        has_parts = kind == "low_latency"
        if "_HLS_msn" in fields:
            number, part = int(fields["_HLS_msn"]), fields.get("_HLS_part")
            end = number + (1 if part is None else (int(part) + 1) / PARTS)
            if not has_parts:
                return 400, ""
            if not programme.wait(min(end, SECONDS)):
                return 503, ""
        if kind == "endless":
            return 200, endless(programme)
        elapsed = programme.elapsed()
        whole = int(elapsed + 1e-3)
        first = max(0, whole - WINDOW) if kind == "window" else 0
        lines = ["#EXTM3U", "#EXT-X-VERSION:10", "#EXT-X-TARGETDURATION:1", f"#EXT-X-MEDIA-SEQUENCE:{first}"]
        skipped = max(0, whole - 6) if fields.get("_HLS_skip") else 0
        if kind == "delta":
            lines.append("#EXT-X-SERVER-CONTROL:CAN-SKIP-UNTIL=6.0")
        if has_parts:
            lines += ["#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=0.6,CAN-SKIP-UNTIL=6.0",
                      f"#EXT-X-PART-INF:PART-TARGET={1 / PARTS}"]
        if kind == "event":
            lines.append("#EXT-X-PLAYLIST-TYPE:EVENT")
        if skipped:
            lines.append(f"#EXT-X-SKIP:SKIPPED-SEGMENTS={skipped}")
        query = f"?of={kind}.m3u8"
        lines.append(f'#EXT-X-MAP:URI="live_init.mp4{query}"')
        if kind != "event":
            lines.append(f"#EXT-X-PROGRAM-DATE-TIME:{stamp(programme.began + first + skipped)}")
        for number in range(first + skipped, whole + 1):
            parts = min(PARTS, int((elapsed - number) * PARTS + 1e-3))
            if has_parts and number >= whole - 3:
                lines += [f'#EXT-X-PART:DURATION={1 / PARTS},URI="live_{number}_{part}.m4s{query}"'
                          + (",INDEPENDENT=YES" if part == 0 else "") for part in range(parts)]
                if number == whole < SECONDS:
                    lines.append(f'#EXT-X-PRELOAD-HINT:TYPE=PART,URI="live_{number}_{parts}.m4s{query}"')
            if number < whole:
                lines += ["#EXTINF:1,", f"live_{number}.m4s{query}"]
        if whole == SECONDS:
            lines.append("#EXT-X-ENDLIST")
        return 200, "\n".join(lines) + "\n"

    def manifest(self, programme, kind, form, fields):
        whole = int(programme.elapsed())
        done = whole == SECONDS
        more = AHEAD if kind == "clock" else datetime.timedelta()

        def published(count):
            return stamp(programme.began + count, more)

        def location(count):
            return f'<PatchLocation ttl="60">patch.mpp?from={count}</PatchLocation>'

        def timeline(name, first, end):
            return "".join(f'<S t="{number * SCALE[name]}" d="{SCALE[name]}"/>' for number in range(first, end))

        if form == "mpp":
            count = int(fields["from"])
            adds = "".join(f"<add sel=\"/MPD/Period[1]/AdaptationSet[@id='{name}']/SegmentTemplate/SegmentTimeline\">"
                           f"{timeline(name, count, whole)}</add>" for name in SCALE) if whole > count else ""
            end = ('<replace sel="/MPD/@type">static</replace><remove sel="/MPD/@minimumUpdatePeriod"/>'
                   f'<add sel="/MPD" type="@mediaPresentationDuration">PT{SECONDS}S</add>') if done else ""
            return 200, ('<?xml version="1.0"?><Patch xmlns="urn:mpeg:dash:schema:mpd-patch:2020" mpdId="programme"'
                         f' originalPublishTime="{published(count)}" publishTime="{published(whole)}">'
                         f'<replace sel="/MPD/@publishTime">{published(whole)}</replace>'
                         f'<replace sel="/MPD/PatchLocation[1]">{location(whole)}</replace>{adds}{end}</Patch>')
        if kind == "patch" and programme.requests > 1:
            return 404, ""  # the client must use patches
        sets = []
        for name, codecs in (("picture", "avc1.42c00d"), ("sound", "mp4a.40.2")):
            media = f'initialization="{name}_live_init.mp4" media="{name}_live_$Number$.m4s?of={kind}" startNumber="0"'
            addressing = (f'<SegmentTemplate {media} duration="1"/>' if kind == "clock" else
                          f'<SegmentTemplate {media} timescale="{SCALE[name]}"><SegmentTimeline>'
                          f"{timeline(name, 0, whole)}</SegmentTimeline></SegmentTemplate>")
            sets.append(f'<AdaptationSet id="{name}" mimeType="{"video" if name == "picture" else "audio"}/mp4">'
                        f'{addressing}<Representation id="{name}" bandwidth="300000" codecs="{codecs}"/></AdaptationSet>')
        length = f' mediaPresentationDuration="PT{SECONDS}S"' if done or kind == "clock" else ""
        update = "" if done or kind == "clock" else ' minimumUpdatePeriod="PT1S"'
        return 200, (
            '<?xml version="1.0"?><MPD xmlns="urn:mpeg:dash:schema:mpd:2011" id="programme"'
            f' type="{"static" if done else "dynamic"}" availabilityStartTime="{published(0)}"'
            f' publishTime="{published(whole)}" timeShiftBufferDepth="PT30S" suggestedPresentationDelay="PT1S"'
            f' minBufferTime="PT1S" profiles="urn:mpeg:dash:profile:isoff-live:2011"{length}{update}>'
            + (location(whole) if kind == "patch" else "") +
            f'<Period id="1" start="PT0S">{"".join(sets)}</Period>'
            + ('<UTCTiming schemeIdUri="urn:mpeg:dash:utc:http-iso:2014" value="clock"/>' if kind == "clock" else
               f'<UTCTiming schemeIdUri="urn:mpeg:dash:utc:direct:2014" value="{stamp(time.time())}"/>')
            + "</MPD>")
