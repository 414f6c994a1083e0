#!/usr/bin/env python3
"""A small HTTP server for tests and demonstrations on the loopback address.

usage: http_server.py [--port PORT] [--rate BYTES] FOLDER

Serves the files of FOLDER to GET and HEAD requests. Supports ranges and persistent
connections; each connection has its own thread. Prints a line with the port when it
accepts connections. Ends at the end of its standard input, so that it does not outlive
its parent.

  --port PORT   0 (default): any free port
  --rate BYTES  limits each connection to BYTES per second

Special paths:
  /status/CODE  responds with HTTP status CODE
  /redirect?URL redirects to URL
  /hang         accepts the request and never responds
  /cut/FILE     sends half of FILE with the Content-Length of the whole, then closes
  /late/FILE    sends 2 KiB of FILE, and the rest 3 s later
  /live/FILE    the HLS playlist FILE as a live playlist: a window of five dated segments that
                moves by one segment with each request, starts at 2026-01-01, and has an
                EXT-X-ENDLIST at the end
  /programme/…  live presentations in real time: see live_presentations.py
  /radio/FILE   an endless repetition of FILE like a radio station, with its name, and with ICY
                metadata on request; the title changes each time FILE starts
"""

import argparse
import datetime
import http.server
import mimetypes
import os
import re
import sys
import threading
import time
import urllib.parse

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from live_presentations import LivePresentations

CHUNK = 64 * 1024
LIVE_WINDOW = 5
RADIO_INTERVAL = 4096
RADIO_RATE = 32000  # bytes per second, after the first intervals
LIVE_START = datetime.datetime(2026, 1, 1, tzinfo=datetime.timezone.utc)


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    # With Nagle's algorithm the body would wait for the acknowledgement of the headers.
    disable_nagle_algorithm = True
    wbufsize = -1

    def do_GET(self):
        self.answer(with_body=True)

    def do_HEAD(self):
        self.answer(with_body=False)

    def answer(self, with_body):
        path = urllib.parse.unquote(urllib.parse.urlsplit(self.path).path)
        special = re.fullmatch(r"/status/(\d{3})", path)
        if special:
            self.reply(int(special.group(1)))
        elif path == "/redirect":
            self.send_response(302)
            self.send_header("Location", urllib.parse.urlsplit(self.path).query)
            self.send_header("Content-Length", "0")
            self.end_headers()
        elif path == "/hang":
            self.server.ending.wait()
            self.close_connection = True
        elif path.startswith("/cut/"):
            self.send_file(path[len("/cut"):], with_body, cut=True)
        elif path.startswith("/late/"):
            self.send_file(path[len("/late"):], with_body, late=True)
        elif path.startswith("/live/") and path.endswith(".m3u8"):
            self.send_live(path[len("/live"):])
        elif path.startswith("/live/"):
            self.send_file(path[len("/live"):], with_body)
        elif path.startswith("/programme/"):
            self.send_programme(path[len("/programme/"):], with_body)
        elif path.startswith("/radio/"):
            self.send_radio(path[len("/radio"):], with_body)
        else:
            self.send_file(path, with_body)

    def reply(self, status, text=None, kind="text/plain"):
        body = (text or f"{status}\n").encode()
        self.send_response(status)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def file_at(self, path):
        root = self.server.root
        name = os.path.realpath(os.path.join(root, path.lstrip("/")))
        return name if name.startswith(root + os.sep) and os.path.isfile(name) else None

    def send_live(self, path):
        name = self.file_at(path)
        if not name:
            return self.reply(404)
        text = live_playlist(name, self.server.next_window(name))
        return self.reply(200, text, "application/vnd.apple.mpegurl")

    def send_programme(self, name, with_body):
        status, body = self.server.programmes.answer(name, urllib.parse.urlsplit(self.path).query)
        if status == 200 and body.startswith(self.server.root + os.sep):
            self.send_file(body[len(self.server.root):], with_body)
        else:
            self.reply(status, body, "application/octet-stream")

    def send_radio(self, path, with_body):
        name = self.file_at(path)
        if not name:
            self.reply(404)
            return
        with open(name, "rb") as source:
            song = source.read()
        has_titles = self.headers.get("Icy-MetaData") == "1"
        self.close_connection = True
        self.send_response(200)
        self.send_header("Content-Type", "audio/mpeg")
        self.send_header("Cache-Control", "max-age=3600")
        self.send_header("icy-name", "Test Radio")
        if has_titles:
            self.send_header("icy-metaint", str(RADIO_INTERVAL))
        self.end_headers()
        sent = 0
        while with_body and not self.server.ending.wait(
                RADIO_INTERVAL / RADIO_RATE if sent > 4 * RADIO_INTERVAL else 0):
            at = sent % len(song)
            body = (song[at:] + song)[:RADIO_INTERVAL]
            sent += len(body)
            if has_titles:
                title = f"StreamTitle='Song {1 + (sent - 1) // len(song)}';".encode()
                blocks = (len(title) + 15) // 16
                body += bytes([blocks]) + title.ljust(16 * blocks, b"\0")
            self.wfile.write(body)
            self.wfile.flush()

    def send_file(self, path, with_body, cut=False, late=False):
        name = self.file_at(path)
        if not name:
            self.reply(404)
            return
        size = os.path.getsize(name)
        span = self.span(size)
        if span is None:
            self.send_response(416)
            self.send_header("Content-Range", f"bytes */{size}")
            self.send_header("Content-Length", "0")
            self.end_headers()
            return
        first, last = span
        partial = (first, last) != (0, size - 1) or "Range" in self.headers
        self.send_response(206 if partial else 200)
        self.send_header("Content-Type", mimetypes.guess_type(name)[0] or "application/octet-stream")
        self.send_header("Accept-Ranges", "bytes")
        self.send_header("Content-Length", str(last - first + 1))
        if partial:
            self.send_header("Content-Range", f"bytes {first}-{last}/{size}")
        self.end_headers()
        if with_body:
            length = last - first + 1
            if late:
                self.send_body(name, first, min(length, 2048))
                self.server.ending.wait(3)
                first, length = first + 2048, length - 2048
            self.send_body(name, first, length // 2 if cut else length)
        if cut:
            self.close_connection = True

    def span(self, size):
        """The first and last requested byte; None if the range cannot be satisfied."""
        wanted = re.fullmatch(r"bytes=(\d*)-(\d*)", self.headers.get("Range", "").strip())
        if not wanted or wanted.group(0) == "bytes=-":
            return 0, size - 1
        first, last = wanted.groups()
        if not first:
            return (max(0, size - int(last)), size - 1) if int(last) else None
        last = min(int(last) if last else size - 1, size - 1)
        return (int(first), last) if int(first) <= last else None

    def send_body(self, name, first, length):
        rate = self.server.rate
        chunk = max(1, min(CHUNK, rate // 20)) if rate else CHUNK
        with open(name, "rb") as source:
            source.seek(first)
            while length > 0:
                data = source.read(min(chunk, length))
                if not data:
                    self.close_connection = True
                    return
                self.wfile.write(data)
                self.wfile.flush()
                length -= len(data)
                if rate:
                    time.sleep(len(data) / rate)

    def handle(self):
        try:
            super().handle()
        except (BrokenPipeError, ConnectionResetError):
            pass  # the client has closed the connection

    def log_message(self, *_):
        pass


def live_playlist(name, first):
    with open(name, encoding="utf-8") as playlist:
        segments = re.findall(r"#EXTINF:([0-9.]+).*\n([^#\n]+)", playlist.read())
    first = min(first, max(0, len(segments) - LIVE_WINDOW))
    date = LIVE_START + datetime.timedelta(seconds=sum(float(each[0]) for each in segments[:first]))
    target = max(round(float(each[0])) for each in segments)
    lines = ["#EXTM3U", f"#EXT-X-TARGETDURATION:{target}", f"#EXT-X-MEDIA-SEQUENCE:{first}"]
    for duration, segment in segments[first:first + LIVE_WINDOW]:
        lines += [f"#EXT-X-PROGRAM-DATE-TIME:{date.isoformat()}", f"#EXTINF:{duration},", segment]
        date += datetime.timedelta(seconds=float(duration))
    if first + LIVE_WINDOW >= len(segments):
        lines.append("#EXT-X-ENDLIST")
    return "\n".join(lines) + "\n"


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 64

    def __init__(self, port, root, rate):
        super().__init__(("127.0.0.1", port), Handler)
        self.root = os.path.realpath(root)
        self.rate = rate
        self.ending = threading.Event()
        self.windows = {}  # the first segment of each live playlist
        self.windows_lock = threading.Lock()
        self.programmes = LivePresentations(self.root)

    def next_window(self, name):
        with self.windows_lock:
            first = self.windows.get(name, 0)
            self.windows[name] = first + 1
            return first

    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], (BrokenPipeError, ConnectionResetError)):
            super().handle_error(request, client_address)


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--rate", type=int, default=0)
    parser.add_argument("folder")
    options = parser.parse_args()
    server = Server(options.port, options.folder, options.rate)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    print(server.server_address[1], flush=True)
    try:
        sys.stdin.buffer.read()
    except KeyboardInterrupt:
        pass
    server.ending.set()
    server.shutdown()


if __name__ == "__main__":
    main()
