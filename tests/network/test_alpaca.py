"""Every method of the Camera and of the Focuser, called well and badly, on every model of the table."""

import json
import os
import re
import sys
import unittest
from array import array

from alpaca import (ACTION_NOT_IMPLEMENTED, CAMERA_GETS, COMMON_GETS, FITS_TYPE, FOCUSER_GETS, GETS, INVALID_OPERATION, INVALID_VALUE,
                    NOT_CONNECTED, NOT_IMPLEMENTED, PUTS, Client, Fault)
from models import MODELS
from server import Server

WITHOUT_CONNECTION = set(COMMON_GETS) - {"devicestate"}
GOOD = {"boolean": "True", "integer": "1", "number": "1", "string": "some words"}
BAD = {"boolean": ["", "yes", "1", "Tru"], "integer": ["", "one", "1.5", "0x10", "99999999999", "1 2"], "number": ["", "warm", "1,5", "nan", "inf"]}
NEVER = {"sensorname", "heatsinktemperature", "subexposureduration", "fastreadout", "gains", "offsets", "imagearrayvariant"}


def missing_of(model):
    """What a camera like this never has, by the page of models."""
    missing = set(NEVER)
    if not model["Cooler, window heater"]:
        missing |= {"cooleron", "coolerpower", "setccdtemperature"}
    if not model["Guide port"]:
        missing |= {"ispulseguiding"}
    if not model["Colour"]:
        missing |= {"bayeroffsetx", "bayeroffsety"}
    return missing


class Tests(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = Server(cameras=[f"virtual:{key},timescale=0.001,prerender=1" for key in MODELS])
        cls.clients = {key: Client(cls.server, number) for number, key in enumerate(MODELS)}

    @classmethod
    def tearDownClass(cls):
        for client in cls.clients.values():
            client.close()
        cls.server.end()

    def each(self):
        for key, client in self.clients.items():
            with self.subTest(model=key):
                client.put("connected", Connected="True")
                yield key, MODELS[key], client

    def test_management(self):
        plain = Client(self.server, 0)
        for path, check in {"/management/apiversions": lambda value: value == [1],
                            "/management/v1/description": lambda value: {"ServerName", "Manufacturer", "ManufacturerVersion", "Location"}
                            == set(value)}.items():
            status, _, body = plain.exchange("GET", path + "?clientid=7&clienttransactionid=4294967295")
            answer = json.loads(body)
            self.assertEqual((status, answer["ClientTransactionID"]), (200, 4294967295))
            self.assertTrue(check(answer["Value"]), answer)
        devices = json.loads(plain.exchange("GET", "/management/v1/configureddevices")[2])["Value"]
        cameras = [device for device in devices if device["DeviceType"] == "Camera"]
        self.assertEqual([camera["DeviceNumber"] for camera in cameras], list(range(len(MODELS))))
        self.assertEqual([camera["DeviceName"] for camera in cameras], [model["Name"] for model in MODELS.values()])
        self.assertEqual([device["DeviceNumber"] for device in devices if device["DeviceType"] == "Focuser"],
                         [number for number, model in enumerate(MODELS.values()) if model["Focus motor"]])
        self.assertEqual(len({device["UniqueID"] for device in devices}), len(devices))
        self.assertEqual(plain.exchange("GET", "/setup")[0], 200)
        self.assertEqual(plain.exchange("GET", "/setup/v1/camera/0/setup")[0], 200)
        self.assertEqual(plain.exchange("GET", "/setup/v1/camera/99/setup")[0], 403)
        plain.close()

    def test_nothing_is_told_to_who_is_not_connected(self):
        stranger = Client(self.server, 0, identity=99)
        for method in GETS["camera"]:
            if method in WITHOUT_CONNECTION:
                stranger.get(method)
            else:
                self.assertEqual(stranger.fault("GET", method), NOT_CONNECTED, method)
        for method, parameters in PUTS["camera"].items():
            if method not in ("connected", "connect", "disconnect"):
                good = {name: GOOD[kind] for name, kind in parameters.items()}
                self.assertEqual(stranger.fault("PUT", method, **good), NOT_CONNECTED, method)
        stranger.close()

    def test_clients_connect_each_for_himself(self):
        first, second = (Client(self.server, 1, identity) for identity in (11, 12))
        first.put("connected", Connected="True")
        self.assertEqual((first.get("connected"), second.get("connected")), (True, False))
        second.put("connect")
        self.assertFalse(second.get("connecting"))
        second.put("gain", Gain=7)
        first.put("disconnect")
        self.assertEqual((first.get("connected"), second.get("connected"), second.get("gain")), (False, True, 7))
        second.put("gain", Gain=0)
        for client in (first, second):
            client.close()

    def test_every_get_has_its_type(self):
        for _, model, client in self.each():
            missing = missing_of(model)
            needs_picture = {"imagearray", "lastexposureduration", "lastexposurestarttime"}
            for method, kind in (COMMON_GETS | CAMERA_GETS).items():
                if method in missing:
                    self.assertEqual(client.fault("GET", method), NOT_IMPLEMENTED, method)
                elif method not in needs_picture:
                    self.assertTrue(FITS_TYPE[kind](client.get(method)), method)
            client.put("startexposure", Duration=0.01, Light="True")
            client.await_true(lambda: client.get("imageready"))
            for method in needs_picture - {"imagearray"}:
                self.assertTrue(FITS_TYPE[CAMERA_GETS[method]](client.get(method)), method)

    def test_what_cannot_be_understood_is_answered_400(self):
        client = self.clients["k1c"]
        client.put("connected", Connected="True")
        for method, parameters in PUTS["camera"].items():
            good = {name: GOOD[kind] for name, kind in parameters.items()}
            for name, kind in parameters.items():
                rest = {other: value for other, value in good.items() if other != name}
                self.assertTrue(client.is_bad("PUT", method, **rest), f"{method} without {name}")
                for value in BAD.get(kind, []):
                    self.assertTrue(client.is_bad("PUT", method, **{**good, name: value}), f"{method} {name}={value}")
            self.assertTrue(client.is_bad("PUT", method + "x"), method)
        for path in ("camera/99/name", "camera/-1/name", "camera/00/name", "camera/0x0/name", "Camera/0/name", "camera/0/Name",
                     "dome/0/name", "focuser/0/position", "camera/0/nothing", "camera/0/startexposure"):
            self.assertEqual(client.exchange("GET", f"/api/v1/{path}")[0], 400, path)
        self.assertEqual(client.exchange("GET", "/api/v1/camera/0/name?ClientID=%zz")[0], 400)
        self.assertEqual(client.exchange("POST", "/api/v1/camera/0/gain", "Gain=1")[0], 405)

    def test_names_of_parameters_are_taken_in_any_case_and_ids_are_32_bits(self):
        client = self.clients["k1c"]
        for names in ("ClientID=1&ClientTransactionID={}", "clientid=1&CLIENTTRANSACTIONID={}", "CLIENTID=1&clienttransactionid={}"):
            for identity, told in ((1, 1), (2**32 - 1, 2**32 - 1), (2**32, 0), (-1, 0), ("x", 0), ("", 0)):
                _, _, body = client.exchange("GET", "/api/v1/camera/0/connected?" + names.format(identity))
                self.assertEqual(json.loads(body)["ClientTransactionID"], told, (names, identity))
        client.put("connected", cOnNeCtEd="tRuE")
        client.put("gain", gAIN="20")
        self.assertEqual(client.get("gain"), 20)
        client.put("gain", Gain="0")

    def test_values_have_limits(self):
        for key, model, client in self.each():
            bad = [("binx", {"BinX": value}) for value in (0, -1, 5, 2147483647)] + [("biny", {"BinY": 0})]
            bad += [("gain", {"Gain": client.get("gainmin") - 1}), ("gain", {"Gain": client.get("gainmax") + 1})]
            bad += [("offset", {"Offset": client.get("offsetmin") - 1}), ("offset", {"Offset": client.get("offsetmax") + 1})]
            bad += [("readoutmode", {"ReadoutMode": value}) for value in (-1, len(client.get("readoutmodes")))]
            bad += [("numx", {"NumX": -1}), ("startx", {"StartX": -1})]
            bad += [("startexposure", {"Duration": value, "Light": "True"}) for value in (-0.001, client.get("exposuremax") + 1)]
            if client.get("cansetccdtemperature"):
                bad += [("setccdtemperature", {"SetCCDTemperature": value}) for value in (-300, 100)]
            if client.get("canpulseguide"):
                bad += [("pulseguide", {"Direction": way, "Duration": ms}) for way, ms in ((4, 10), (-1, 10), (0, -1), (0, 60001))]
            for method, parameters in bad:
                self.assertEqual(client.fault("PUT", method, **parameters), INVALID_VALUE, (key, method, parameters))
            for method, parameters in (("stopexposure", {}), ("fastreadout", {"FastReadout": "True"}), ("commandblind", {"Command": "x", "Raw": "True"}),
                                       ("subexposureduration", {"SubExposureDuration": 1})):
                self.assertEqual(client.fault("PUT", method, **parameters), NOT_IMPLEMENTED, method)
            if not model["Guide port"]:
                self.assertEqual(client.fault("PUT", "pulseguide", Direction=0, Duration=10), NOT_IMPLEMENTED)
            self.assertEqual(client.fault("PUT", "action", Action="dance", Parameters=""), ACTION_NOT_IMPLEMENTED)

    def test_the_sensor_is_that_of_the_page(self):
        for key, model, client in self.each():
            width, height = map(int, model["Pixels"].replace("\u202f", "").split(" × "))
            self.assertEqual((client.get("cameraxsize"), client.get("cameraysize")), (width, height))
            self.assertEqual(client.get("pixelsizex"), float(model["Pixel size"].split()[0]))
            self.assertEqual(client.get("sensortype"), 2 if model["Colour"] else 0)
            if model["Colour"]:
                red = model["Colour"].index("R")
                self.assertEqual((client.get("bayeroffsetx"), client.get("bayeroffsety")), (red % 2, red // 2))
            self.assertEqual(client.get("maxbinx"), max(int(number) for number in re.findall(r"\d", model["Bins"])))
            # Counts of the converter stand at the upper end of 16 bits.
            bits = int(model["Bits"].split()[0])
            per_unit = float(model["Electrons per ADC unit, gain 0"].split(";")[0])
            self.assertAlmostEqual(client.get("electronsperadu"), per_unit / 2 ** (16 - bits), delta=1e-6)
            self.assertEqual(client.get("maxadu"), 65535)
            self.assertEqual(len(client.get("readoutmodes")), 2 if key in ("d6m", "h53m") else 1)

    def test_settings_hold(self):
        for _, model, client in self.each():
            for method in ("gain", "offset"):
                before = client.get(method)
                for value in (client.get(method + "min"), client.get(method + "max")):
                    client.put(method, **{method.capitalize(): value})
                    self.assertEqual(client.get(method), value)
                client.put(method, **{method.capitalize(): before})
            for mode in reversed(range(len(client.get("readoutmodes")))):
                client.put("readoutmode", ReadoutMode=mode)
                self.assertEqual(client.get("readoutmode"), mode)
            if model["Cooler, window heater"]:
                client.put("setccdtemperature", SetCCDTemperature=5)
                self.assertEqual((client.get("setccdtemperature"), client.get("cooleron")), (5, False))
                client.put("cooleron", CoolerOn="True")
                self.assertEqual((client.get("setccdtemperature"), client.get("cooleron")), (5, True))
                client.await_true(lambda: client.get("coolerpower") > 0)
                client.put("cooleron", CoolerOn="False")
                self.assertFalse(client.get("cooleron"))

    def test_whole_pictures_of_every_bin_have_the_size_that_clients_compute(self):
        for _, model, client in self.each():
            for bins in map(int, re.findall(r"\d", model["Bins"].replace("1–4", "1234"))):
                client.put("binx", BinX=bins)
                self.assertEqual(client.get("biny"), bins)
                size = client.get("cameraxsize") // bins, client.get("cameraysize") // bins
                client.put("numx", NumX=size[0])
                client.put("numy", NumY=size[1])
                client.expose(0.001)
                self.assertEqual(client.image_bytes()[:3], (*size, 2))
                client.put("numx", NumX=size[0] + 1)
                self.assertEqual(client.fault("PUT", "startexposure", Duration=0.001, Light="True"), INVALID_VALUE)
            client.put("binx", BinX=1)
            client.put("numx", NumX=client.get("cameraxsize"))
            client.put("numy", NumY=client.get("cameraysize"))

    def test_an_exposure_from_its_start_to_its_picture(self):
        client = Client(self.server, list(MODELS).index("l3m"), identity=5)
        client.put("connected", Connected="True")
        client.put("startexposure", Duration=1500, Light="False")  # a second and a half here
        self.assertIn(client.get("camerastate"), (2, 3))
        self.assertFalse(client.get("imageready"))
        for fault, (verb, method, words) in {
                INVALID_OPERATION: ("PUT", "startexposure", {"Duration": 1, "Light": "True"})}.items():
            self.assertEqual(client.fault(verb, method, **words), fault)
        self.assertEqual(client.fault("GET", "imagearray"), INVALID_OPERATION)
        with self.assertRaises(Fault) as caught:
            client.image_bytes()
        self.assertEqual(caught.exception.number, INVALID_OPERATION)
        client.put("abortexposure")
        self.assertEqual((client.get("camerastate"), client.get("imageready"), client.get("percentcompleted")), (0, False, 0))
        client.put("abortexposure")  # nothing to do
        client.expose(0.5)
        self.assertEqual((client.get("camerastate"), client.get("percentcompleted")), (0, 100))
        self.assertAlmostEqual(client.get("lastexposureduration"), 0.5, places=3)
        text = client.get("imagearray")
        width, height, _, samples = client.image_bytes()
        self.assertEqual((text["Type"], text["Rank"]), (2, 2))
        sent = array("H", samples)
        if sys.byteorder == "big":
            sent.byteswap()
        self.assertEqual([len(column) for column in text["Value"]], [height] * width)
        self.assertEqual([sample for column in text["Value"] for sample in column], list(sent))
        client.close()

    def test_pulses_run_beside_the_client(self):
        client = Client(self.server, list(MODELS).index("k1m"), identity=6)
        client.put("connected", Connected="True")
        self.assertFalse(client.get("ispulseguiding"))
        client.put("pulseguide", Direction=0, Duration=0)
        client.put("pulseguide", Direction=1, Duration=60000)
        self.assertTrue(client.get("ispulseguiding"))
        # The same axis is taken until then, the other is free.
        if client.fault("PUT", "pulseguide", Direction=0, Duration=10) not in (0, INVALID_OPERATION):
            self.fail("a second pulse")
        client.put("pulseguide", Direction=3, Duration=20)
        client.close()

    def test_the_focuser(self):
        number = list(MODELS).index("h53m")
        client = Client(self.server, number, identity=8)
        self.assertEqual(client.fault("GET", "position", "focuser"), NOT_CONNECTED)
        client.put("connected", "focuser", Connected="True")
        for method, kind in (COMMON_GETS | FOCUSER_GETS).items():
            if method in ("stepsize", "temperature"):
                self.assertEqual(client.fault("GET", method, "focuser"), NOT_IMPLEMENTED)
            else:
                self.assertTrue(FITS_TYPE[kind](client.get(method, "focuser")), method)
        for position in (0, client.get("maxstep", "focuser"), 300):
            client.put("move", "focuser", Position=position)
            client.await_true(lambda: not client.get("ismoving", "focuser"))
            self.assertEqual(client.get("position", "focuser"), position)
        for position in (-1, client.get("maxstep", "focuser") + 1):
            self.assertEqual(client.fault("PUT", "move", "focuser", Position=position), INVALID_VALUE)
        for method, words in (("halt", {}), ("tempcomp", {"TempComp": "True"})):
            self.assertEqual(client.fault("PUT", method, "focuser", **words), NOT_IMPLEMENTED)
        for value in BAD["integer"]:
            self.assertTrue(client.is_bad("PUT", "move", "focuser", Position=value), value)
        client.close()

    def test_the_table_here_is_that_of_the_standard(self):
        folder = os.environ.get("ORQ_ALPACA_DIR", "")
        if not os.path.exists(os.path.join(folder, "AlpacaDeviceAPI_v1.yaml")):
            self.skipTest("the standard's own description is not there")
        try:
            import yaml
        except ImportError:
            self.skipTest("no yaml for this python")
        with open(os.path.join(folder, "AlpacaDeviceAPI_v1.yaml"), encoding="utf-8") as file:
            standard = yaml.safe_load(file)
        found = {}
        for path, verbs in standard["paths"].items():
            kind, method = path.split("/")[1], path.split("/")[-1]
            for verb, what in verbs.items():
                if verb not in ("get", "put"):
                    continue
                for device in ("camera", "focuser") if kind.startswith("{") else (kind,):
                    answer = what["responses"]["200"]["$ref"].split("/")[-1].replace("Response", "")
                    found[device, verb.upper(), method] = answer if verb == "get" else self.parameters(standard, what)
        known = {(device, "GET", method): kind for device, table in GETS.items() for method, kind in table.items()}
        known |= {(device, "PUT", method): words for device, table in PUTS.items() for method, words in table.items()}
        self.assertEqual(found, known)

    @staticmethod
    def parameters(standard, what):
        body = what["requestBody"]
        if "$ref" in body:
            body = standard["components"]["requestBodies"][body["$ref"].split("/")[-1]]
        schema = next(iter(body["content"].values()))["schema"]
        words = {}
        for part in schema.get("allOf", [schema]):
            if "$ref" in part:
                part = standard["components"]["schemas"][part["$ref"].split("/")[-1]]
            for name, value in part.get("properties", {}).items():
                if not name.startswith("Client"):
                    words[name] = value.get("type", "integer")
        return words


if __name__ == "__main__":
    unittest.main()
