#!/usr/bin/env python3
"""The descriptions of the device and its services are valid by the schemas of UPnP's device architecture, and have what
MediaRenderer:1 requires."""

import os
import shutil
import subprocess
import unittest
import xml.etree.ElementTree as tree

HERE = os.path.dirname(os.path.abspath(__file__))
FOLDER = os.path.join(HERE, "..", "..", "..", "receivers", "upnp", "description")
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


class Descriptions(unittest.TestCase):
    def read(self, name):
        return tree.parse(os.path.join(FOLDER, name)).getroot()

    def text(self, name):
        with open(os.path.join(FOLDER, name), encoding="utf-8") as file:
            return file.read().replace("@UUID@", "c33b4c32-9fa7-4c70-a04b-b72549a13b37")

    def errors(self, schema, document):
        """What xmllint says about the document; empty if it is valid."""
        if not shutil.which("xmllint"):
            self.skipTest("there is no xmllint")
        done = subprocess.run(["xmllint", "--noout", "--schema", os.path.join(HERE, "schemas", schema), "-"],
                              input=document, text=True, capture_output=True, check=False)
        return done.stderr if done.returncode else ""

    def test_schemas(self):
        self.assertEqual(self.errors("device-1-0.xsd", self.text("Device.xml.in")), "")
        for service in REQUIRED_ACTIONS:
            self.assertEqual(self.errors("service-1-0.xsd", self.text(service + ".xml")), "")

    def test_schemas_find_faults(self):
        cases = (("service-1-0.xsd", "AVTransport.xml", ">NumberOfTracks</rel", ">NumberOfTrack</rel", "keyref"),
                 ("service-1-0.xsd", "AVTransport.xml", "<name>Pause<", "<name>Play<", "key-sequence"),
                 ("service-1-0.xsd", "RenderingControl.xml", ">ui2<", ">ui3<", "dataType"),
                 ("service-1-0.xsd", "ConnectionManager.xml", "<direction>out</direction>", "", "direction"),
                 ("device-1-0.xsd", "Device.xml.in", "uuid:", "", "UDN"),
                 ("device-1-0.xsd", "Device.xml.in", "serviceId:RenderingControl<", "serviceId:AVTransport<", "unique"),
                 ("device-1-0.xsd", "Device.xml.in", "<modelName>TVVorlane</modelName>", "", "modelName"))
        for schema, name, old, new, fault in cases:
            text = self.text(name)
            self.assertIn(old, text)
            self.assertIn(fault, self.errors(schema, text.replace(old, new, 1)))

    def test_services(self):
        for service, required in REQUIRED_ACTIONS.items():
            with self.subTest(service=service):
                root = self.read(service + ".xml")
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
            self.assertEqual(variable.get("sendEvents"), "yes" if name in evented else "no", name)
            if variable.find("s:allowedValueList", SERVICE) is not None:
                self.assertEqual(variable.findtext("s:dataType", None, SERVICE), "string", name)

    def check_arguments(self, actions, variables):
        related = set()
        for name, action in actions.items():
            directions = []
            for argument in action.iterfind("s:argumentList/s:argument", SERVICE):
                directions.append(argument.findtext("s:direction", None, SERVICE))
                related.add(argument.findtext("s:relatedStateVariable", None, SERVICE))
            self.assertEqual(directions, sorted(directions), f"{name}: inputs precede outputs")
        self.assertLessEqual(set(variables) - related, {"LastChange", "CurrentTransportActions"})

    def test_device(self):
        root = self.read("Device.xml.in")
        device = root.find("d:device", DEVICE)
        self.assertEqual(device.findtext("d:deviceType", None, DEVICE),
                         "urn:schemas-upnp-org:device:MediaRenderer:1")
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
