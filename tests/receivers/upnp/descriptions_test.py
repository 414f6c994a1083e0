#!/usr/bin/env python3
"""The descriptions of the device and its services follow the rules of UPnP's device architecture, and have what
MediaRenderer:1 requires."""

import os
import unittest
import xml.etree.ElementTree as tree

FOLDER = os.path.join(os.path.dirname(__file__), "..", "..", "..", "receivers", "upnp", "description")
SERVICE = {"s": "urn:schemas-upnp-org:service-1-0"}
DEVICE = {"d": "urn:schemas-upnp-org:device-1-0"}

REQUIRED_ACTIONS = {
    "AVTransport": "SetAVTransportURI GetMediaInfo GetTransportInfo GetPositionInfo GetDeviceCapabilities "
                   "GetTransportSettings Stop Play Seek Next Previous",
    "RenderingControl": "ListPresets SelectPreset",
    "ConnectionManager": "GetProtocolInfo GetCurrentConnectionIDs GetCurrentConnectionInfo",
}
REQUIRED_VARIABLES = {
    "AVTransport": "TransportState TransportStatus PlaybackStorageMedium RecordStorageMedium "
                   "PossiblePlaybackStorageMedia PossibleRecordStorageMedia CurrentPlayMode TransportPlaySpeed "
                   "RecordMediumWriteStatus CurrentRecordQualityMode PossibleRecordQualityModes NumberOfTracks "
                   "CurrentTrack CurrentTrackDuration CurrentMediaDuration CurrentTrackMetaData CurrentTrackURI "
                   "AVTransportURI AVTransportURIMetaData NextAVTransportURI NextAVTransportURIMetaData "
                   "RelativeTimePosition AbsoluteTimePosition RelativeCounterPosition AbsoluteCounterPosition "
                   "LastChange A_ARG_TYPE_SeekMode A_ARG_TYPE_SeekTarget A_ARG_TYPE_InstanceID",
    "RenderingControl": "PresetNameList LastChange A_ARG_TYPE_InstanceID A_ARG_TYPE_PresetName",
    "ConnectionManager": "SourceProtocolInfo SinkProtocolInfo CurrentConnectionIDs A_ARG_TYPE_ConnectionStatus "
                         "A_ARG_TYPE_ConnectionManager A_ARG_TYPE_Direction A_ARG_TYPE_ProtocolInfo "
                         "A_ARG_TYPE_ConnectionID A_ARG_TYPE_AVTransportID A_ARG_TYPE_RcsID",
}
EVENTED = {
    "AVTransport": {"LastChange"},
    "RenderingControl": {"LastChange"},
    "ConnectionManager": {"SourceProtocolInfo", "SinkProtocolInfo", "CurrentConnectionIDs"},
}
TYPES = {"string", "ui2", "ui4", "i4", "boolean"}


class Descriptions(unittest.TestCase):
    def read(self, name):
        return tree.parse(os.path.join(FOLDER, name)).getroot()

    def test_services(self):
        for service, required in REQUIRED_ACTIONS.items():
            with self.subTest(service=service):
                root = self.read(service + ".xml")
                self.assertEqual([one.tag.split("}")[1] for one in root],
                                 ["specVersion", "actionList", "serviceStateTable"])
                variables = {one.findtext("s:name", None, SERVICE): one
                             for one in root.iterfind("s:serviceStateTable/s:stateVariable", SERVICE)}
                actions = {one.findtext("s:name", None, SERVICE): one
                           for one in root.iterfind("s:actionList/s:action", SERVICE)}
                self.assertLessEqual(set(required.split()), set(actions))
                self.assertLessEqual(set(REQUIRED_VARIABLES[service].split()), set(variables))
                self.check_variables(variables, EVENTED[service])
                self.check_arguments(actions, variables)

    def check_variables(self, variables, evented):
        for name, variable in variables.items():
            self.assertIn(variable.findtext("s:dataType", None, SERVICE), TYPES, name)
            self.assertEqual(variable.get("sendEvents"), "yes" if name in evented else "no", name)
            if variable.find("s:allowedValueList", SERVICE) is not None:
                self.assertEqual(variable.findtext("s:dataType", None, SERVICE), "string", name)

    def check_arguments(self, actions, variables):
        related = set()
        for name, action in actions.items():
            directions = []
            for argument in action.iterfind("s:argumentList/s:argument", SERVICE):
                self.assertEqual([one.tag.split("}")[1] for one in argument],
                                 ["name", "direction", "relatedStateVariable"], name)
                directions.append(argument.findtext("s:direction", None, SERVICE))
                related.add(argument.findtext("s:relatedStateVariable", None, SERVICE))
            self.assertEqual(directions, sorted(directions), f"{name}: inputs precede outputs")
        self.assertLessEqual(related, set(variables))
        self.assertLessEqual(set(variables) - related, {"LastChange", "CurrentTransportActions"})

    def test_device(self):
        root = self.read("Device.xml.in")
        device = root.find("d:device", DEVICE)
        self.assertEqual(device.findtext("d:deviceType", None, DEVICE),
                         "urn:schemas-upnp-org:device:MediaRenderer:1")
        for name in ("friendlyName", "manufacturer", "modelName", "UDN"):
            self.assertTrue(device.findtext("d:" + name, None, DEVICE), name)
        # Some controllers append the path to the address.
        for url in device.iterfind("d:serviceList/d:service/d:SCPDURL", DEVICE):
            self.assertTrue(os.path.exists(FOLDER + url.text), url.text)
        for icon in device.iterfind("d:iconList/d:icon", DEVICE):
            with open(FOLDER + icon.findtext("d:url", None, DEVICE), "rb") as file:
                header = file.read(24)
            self.assertEqual(header[1:4], b"PNG")
            self.assertEqual(int.from_bytes(header[16:20], "big"), int(icon.findtext("d:width", None, DEVICE)))


if __name__ == "__main__":
    unittest.main()
