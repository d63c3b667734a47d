"""An Alpaca client, and what the standard says of every method."""

import itertools
import json
import struct
import time
import urllib.parse

PATIENCE = 60
NOT_IMPLEMENTED, INVALID_VALUE, NOT_CONNECTED, INVALID_OPERATION, ACTION_NOT_IMPLEMENTED = 0x400, 0x401, 0x407, 0x40B, 0x40C

# Each GET with the type of its value, each PUT with its parameters.
COMMON_GETS = {"connected": "Bool", "connecting": "Bool", "description": "String", "devicestate": "DeviceState",
               "driverinfo": "String", "driverversion": "String", "interfaceversion": "Int", "name": "String",
               "supportedactions": "StringArray"}
COMMON_PUTS = {"action": {"Action": "string", "Parameters": "string"}, "commandblind": {"Command": "string", "Raw": "boolean"},
               "commandbool": {"Command": "string", "Raw": "boolean"}, "commandstring": {"Command": "string", "Raw": "boolean"},
               "connect": {}, "connected": {"Connected": "boolean"}, "disconnect": {}}
CAMERA_GETS = {
    "bayeroffsetx": "Int", "bayeroffsety": "Int", "binx": "IntMinimum1", "biny": "IntMinimum1", "camerastate": "CameraState",
    "cameraxsize": "Int", "cameraysize": "Int", "canabortexposure": "Bool", "canasymmetricbin": "Bool", "canfastreadout": "Bool",
    "cangetcoolerpower": "Bool", "canpulseguide": "Bool", "cansetccdtemperature": "Bool", "canstopexposure": "Bool",
    "ccdtemperature": "Double", "cooleron": "Bool", "coolerpower": "PercentDouble", "electronsperadu": "Double",
    "exposuremax": "Double", "exposuremin": "Double", "exposureresolution": "Double", "fastreadout": "Bool",
    "fullwellcapacity": "Double", "gain": "Int", "gainmax": "Int", "gainmin": "Int", "gains": "StringArray", "hasshutter": "Bool",
    "heatsinktemperature": "Double", "imagearray": "ImageArray", "imagearrayvariant": "ImageArrayVariant", "imageready": "Bool",
    "ispulseguiding": "Bool", "lastexposureduration": "Double", "lastexposurestarttime": "LastExposureStartTime", "maxadu": "Int",
    "maxbinx": "IntMinimum1", "maxbiny": "IntMinimum1", "numx": "Int", "numy": "Int", "offset": "Int", "offsetmax": "Int",
    "offsetmin": "Int", "offsets": "StringArray", "percentcompleted": "PercentInt", "pixelsizex": "Double", "pixelsizey": "Double",
    "readoutmode": "Int", "readoutmodes": "StringArray", "sensorname": "String", "sensortype": "SensorType",
    "setccdtemperature": "Double", "startx": "Int", "starty": "Int", "subexposureduration": "Double"}
CAMERA_PUTS = {
    "abortexposure": {}, "binx": {"BinX": "integer"}, "biny": {"BinY": "integer"}, "cooleron": {"CoolerOn": "boolean"},
    "fastreadout": {"FastReadout": "boolean"}, "gain": {"Gain": "integer"}, "numx": {"NumX": "integer"}, "numy": {"NumY": "integer"},
    "offset": {"Offset": "integer"}, "pulseguide": {"Direction": "integer", "Duration": "integer"},
    "readoutmode": {"ReadoutMode": "integer"}, "setccdtemperature": {"SetCCDTemperature": "number"},
    "startexposure": {"Duration": "number", "Light": "boolean"}, "startx": {"StartX": "integer"}, "starty": {"StartY": "integer"},
    "stopexposure": {}, "subexposureduration": {"SubExposureDuration": "number"}}
FOCUSER_GETS = {"absolute": "Bool", "ismoving": "Bool", "maxincrement": "Int", "maxstep": "Int", "position": "Int",
                "stepsize": "Double", "tempcomp": "Bool", "tempcompavailable": "Bool", "temperature": "Double"}
FOCUSER_PUTS = {"halt": {}, "move": {"Position": "integer"}, "tempcomp": {"TempComp": "boolean"}}
GETS = {"camera": COMMON_GETS | CAMERA_GETS, "focuser": COMMON_GETS | FOCUSER_GETS}
PUTS = {"camera": COMMON_PUTS | CAMERA_PUTS, "focuser": COMMON_PUTS | FOCUSER_PUTS}


def is_int(value):
    return isinstance(value, int) and not isinstance(value, bool)


def is_number(value):
    return is_int(value) or isinstance(value, float)


def is_time(value):
    time.strptime(value.split(".")[0], "%Y-%m-%dT%H:%M:%S")
    return value.count(".") <= 1 and value.split(".")[-1][-1].isdigit()


def is_state(value):
    names = [entry["Name"] for entry in value]
    return len(set(names)) == len(names) and all(set(entry) == {"Name", "Value"} for entry in value) and "TimeStamp" in names


FITS_TYPE = {
    "Bool": lambda value: isinstance(value, bool), "String": lambda value: isinstance(value, str), "Int": is_int,
    "IntMinimum1": lambda value: is_int(value) and value >= 1, "Double": is_number,
    "PercentInt": lambda value: is_int(value) and 0 <= value <= 100, "PercentDouble": lambda value: is_number(value) and 0 <= value <= 100,
    "StringArray": lambda value: isinstance(value, list) and all(isinstance(one, str) for one in value),
    "CameraState": lambda value: value in range(6), "SensorType": lambda value: value in range(6),
    "LastExposureStartTime": is_time, "DeviceState": is_state}


class Fault(Exception):
    """What a device answers in place of a value."""

    def __init__(self, number, text):
        super().__init__(f"{number:#x}: {text}")
        self.number = number


class BadRequest(Exception):
    """Status 400."""


class Client:
    """One client, over one connection that stays; every answer is held against what the standard says of all answers."""

    def __init__(self, server, number, identity=1):
        self.server = server
        self.number = number
        self.identity = identity
        self.transactions = itertools.count(1)
        self.last_server_transaction = 0
        self.connection = server.connection()

    def close(self):
        self.connection.close()

    def exchange(self, method, path, body=None, **headers):
        self.connection.request(method, path, body, headers)
        answer = self.connection.getresponse()
        return answer.status, answer.headers, answer.read()

    def call(self, verb, device, method, **parameters):
        transaction = next(self.transactions)
        words = urllib.parse.urlencode({**parameters, "ClientID": self.identity, "ClientTransactionID": transaction})
        path = f"/api/v1/{device}/{self.number}/{method}"
        if verb == "GET":
            status, headers, body = self.exchange("GET", f"{path}?{words}")
        else:
            status, headers, body = self.exchange("PUT", path, words, **{"Content-Type": "application/x-www-form-urlencoded"})
        if status == 400:
            assert headers["Content-Type"].startswith("text/plain") and body, (method, headers, body)
            raise BadRequest(body.decode())
        assert status == 200 and headers["Content-Type"].startswith("application/json"), (method, status, body)
        return self.value_of(json.loads(body), transaction)

    def value_of(self, answer, transaction):
        assert answer["ClientTransactionID"] == transaction, answer
        assert is_int(answer["ServerTransactionID"]) and 1 <= answer["ServerTransactionID"] < 2**32, answer
        assert answer["ServerTransactionID"] > self.last_server_transaction, answer
        self.last_server_transaction = answer["ServerTransactionID"]
        number, text = answer["ErrorNumber"], answer["ErrorMessage"]
        assert (number == 0) == (text == "") and (number == 0 or 0x400 <= number <= 0xFFF), answer
        if number != 0:
            raise Fault(number, text)
        return answer if "Rank" in answer else answer.get("Value")

    def get(self, method, device="camera", **parameters):
        return self.call("GET", device, method, **parameters)

    def put(self, method, device="camera", **parameters):
        return self.call("PUT", device, method, **parameters)

    def fault(self, verb, method, device="camera", **parameters):
        """The number of the error that the call is answered with; 0: none."""
        try:
            self.call(verb, device, method, **parameters)
        except Fault as fault:
            return fault.number
        return 0

    def is_bad(self, verb, method, device="camera", **parameters):
        try:
            self.call(verb, device, method, **parameters)
        except (BadRequest, Fault) as failure:
            return isinstance(failure, BadRequest)
        return False

    def await_true(self, ask):
        end = time.monotonic() + PATIENCE
        while not ask():
            assert time.monotonic() < end, "it never comes true"
            time.sleep(0.005)

    def expose(self, seconds, light="True"):
        self.put("startexposure", Duration=seconds, Light=light)
        self.await_true(lambda: self.get("imageready"))

    def image_bytes(self):
        """Header fields and samples of the picture as bytes: columns, one after the other."""
        transaction = next(self.transactions)
        path = f"/api/v1/camera/{self.number}/imagearray?ClientID={self.identity}&ClientTransactionID={transaction}"
        status, headers, body = self.exchange("GET", path, Accept="application/imagebytes, application/json")
        assert status == 200 and headers["Content-Type"] == "application/imagebytes", (status, headers)
        header = struct.unpack("<11i", body[:44])
        version, number, client, server, start, image_type, sent_type, rank, *dimensions = header
        assert version == 1 and client == transaction and server > 0 and start == 44, header
        if number != 0:
            raise Fault(number, body[start:].decode())
        width = {6: 1, 8: 2}[sent_type]
        assert image_type == 2 and rank == 2 and dimensions[2] == 0, header
        assert len(body) == start + dimensions[0] * dimensions[1] * width, (len(body), header)
        return dimensions[0], dimensions[1], width, body[start:]
