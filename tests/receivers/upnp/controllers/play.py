#!/usr/bin/env python3
"""Plays on a renderer with GUPnP's control point (Debian's gir1.2-gupnp-1.6), while the viewer uses the remote. Prints
a line for each step and each event; exits 1 after the first step that fails.

usage: play.py INTERFACE NAME play FILM SONG SONG VORLANECTL...
       play.py INTERFACE NAME state STATE [URI]
  play   plays the film and an album of the songs, and leaves with the film playing. VORLANECTL is the command that
         controls the box, up to the button of the remote
  state  waits until the renderer reports the state and the URI
"""

import os
import subprocess
import sys
import xml.etree.ElementTree as tree

import gi

gi.require_version("GSSDP", "1.6")
gi.require_version("GUPnP", "1.6")
from gi.repository import Gio, GLib, GObject, GUPnP  # noqa: E402

PATIENCE = 30
RESUBSCRIPTION = 4
FIRST_VARIABLES = {"AVTransport": "TransportState", "RenderingControl": "Volume"}
TYPE = "urn:schemas-upnp-org:device:MediaRenderer:1"
SERVICE = "urn:schemas-upnp-org:service:{}:1"
MPRIS = ("org.mpris.MediaPlayer2.tvvorlane", "/org/mpris/MediaPlayer2", "org.freedesktop.DBus.Properties")


class Failure(Exception):
    pass


def until(what, condition):
    """Runs the main loop until the condition holds."""
    context = GLib.MainContext.default()
    expired = []
    timer = GLib.timeout_add_seconds(PATIENCE, lambda: expired.append(True) or GLib.SOURCE_CONTINUE)
    while not condition():
        if expired:
            raise Failure(f"timeout: {what}")
        context.iteration(True)
    GLib.source_remove(timer)


def step(name, result=None):
    print(f"ok: {name}" + (f": {result}" if result is not None else ""), flush=True)


class Controller:
    def __init__(self, interface, name):
        self.context = GUPnP.Context.new(interface, 0)
        self.point = GUPnP.ControlPoint.new(self.context, TYPE)
        self.device = None
        self.point.connect("device-proxy-available", self.found, name)
        self.point.set_active(True)
        until("search", lambda: self.device)
        self.services = {short: self.device.get_service(SERVICE.format(short))
                         for short in ("AVTransport", "RenderingControl", "ConnectionManager")}
        self.variables = {}
        self.history = []
        for short in FIRST_VARIABLES:
            self.services[short].add_notify("LastChange", GObject.TYPE_STRING, self.notified, None)
            self.services[short].set_subscribed(True)
        timer = GLib.timeout_add_seconds(RESUBSCRIPTION, self.subscribe_again)
        until("first events", lambda: all(name in self.variables for name in FIRST_VARIABLES.values()))
        GLib.source_remove(timer)

    def subscribe_again(self):
        """GUPnP's control point drops a first event that it reads before the answer to the subscription."""
        for short, name in FIRST_VARIABLES.items():
            if name not in self.variables:
                self.services[short].set_subscribed(False)
                self.services[short].set_subscribed(True)
        return GLib.SOURCE_CONTINUE

    def found(self, _, device, name):
        if device.get_friendly_name() == name:
            self.device = device

    def notified(self, _service, _variable, document, _data):
        for one in tree.fromstring(document).iterfind("{*}InstanceID/*"):
            name, value = one.tag.split("}")[1], one.get("val")
            if self.variables.get(name) == value:
                continue
            self.variables[name] = value
            self.history.append((name, value))
            if name in ("TransportState", "TransportStatus", "AVTransportURI", "Volume"):
                print(f"   event {name} {value}", flush=True)

    def call(self, service, action, *results, **arguments):
        names = ["InstanceID", *arguments]
        request = GUPnP.ServiceProxyAction.new_from_list(action, names, ["0", *arguments.values()])
        self.services[service].call_action(request, None)
        _, values = request.get_result_list(list(results), [GObject.TYPE_STRING] * len(results))
        return values

    def transport(self, action, *results, **arguments):
        return self.call("AVTransport", action, *results, **arguments)

    def becomes(self, **variables):
        until(str(variables), lambda: all(self.variables.get(name) == value for name, value in variables.items()))

    def position(self):
        hours, minutes, seconds = self.transport("GetPositionInfo", "RelTime")[0].split(":")
        return int(hours) * 3600 + int(minutes) * 60 + int(seconds)

    def introspect(self, short):
        found = []
        self.services[short].introspect_async(
            None, lambda service, result, _: found.append(service.introspect_finish(result)), None)
        until("introspection", lambda: found)
        return len(found[0].list_action_names())


def set_uri(controller, uri):
    controller.transport("SetAVTransportURI", CurrentURI=uri, CurrentURIMetaData="")


def start(controller, uri):
    set_uri(controller, uri)
    controller.transport("Play", Speed="1")
    controller.becomes(TransportState="PLAYING", AVTransportURI=uri)


def play_film(controller, film, press):
    set_uri(controller, film)
    controller.transport("Seek", Unit="REL_TIME", Target="0:00:08")
    controller.transport("Play", Speed="1")
    controller.becomes(TransportState="PLAYING")
    position = controller.position()
    if position < 8:
        raise Failure(f"the film is at {position} s")
    step("a film starts at a position", f"{position} s")
    press("playpause")
    controller.becomes(TransportState="PAUSED_PLAYBACK")
    step("the remote pauses")
    position = controller.position()
    press("left")
    until("the remote's seek", lambda: controller.position() < position)
    step("the remote seeks", f"from {position} s to {controller.position()} s")
    press("playpause")
    controller.becomes(TransportState="PLAYING")
    step("the remote plays on")


def change_volume(controller):
    if "DBUS_SESSION_BUS_ADDRESS" not in os.environ:
        print("skipped: another program's volume needs a session bus")
        return
    bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
    volume = GLib.Variant("(ssv)", ("org.mpris.MediaPlayer2.Player", "Volume", GLib.Variant("d", 0.42)))
    bus.call_sync(*MPRIS, "Set", volume, None, Gio.DBusCallFlags.NONE, -1, None)
    controller.becomes(Volume="42")
    step("another program changes the volume", 42)


def play_album(controller, songs):
    start(controller, songs[0])
    before = len(controller.history)
    controller.transport("SetNextAVTransportURI", NextURI=songs[1], NextURIMetaData="")
    controller.becomes(AVTransportURI=songs[1], TransportState="PLAYING")
    states = [value for name, value in controller.history[before:] if name == "TransportState"]
    if "STOPPED" in states:
        raise Failure(f"the album has stopped in between: {states}")
    step("an album plays on without a stop")
    controller.becomes(TransportState="STOPPED", TransportStatus="OK")
    step("the album ends")


def play(controller, film, *songs_and_command):
    songs, command = songs_and_command[:2], songs_and_command[2:]

    def press(button):
        subprocess.run([*command, button], check=True, stdout=subprocess.DEVNULL)

    for short in controller.services:
        step(f"introspection of {short}", f"{controller.introspect(short)} actions")
    play_film(controller, film, press)
    change_volume(controller)
    press("menu")
    controller.becomes(TransportState="STOPPED", TransportStatus="OK")
    step("the remote stops")
    play_album(controller, songs)
    set_uri(controller, film + ".missing")
    controller.transport("Play", Speed="1")
    controller.becomes(TransportState="STOPPED", TransportStatus="ERROR_OCCURRED")
    step("a missing film fails")
    start(controller, film)
    step("the controller leaves while a film plays")


def main():
    interface, name, what, *arguments = sys.argv[1:]
    try:
        controller = Controller(interface, name)
        step("the search finds the renderer", name)
        if what == "play":
            play(controller, *arguments)
        else:
            state, uri = [*arguments, None][:2]
            controller.becomes(TransportState=state, **({"AVTransportURI": uri} if uri else {}))
            step(state, uri)
    except (Failure, GLib.Error, subprocess.CalledProcessError) as error:
        print(f"failed: {error}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
