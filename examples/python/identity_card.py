#!/usr/bin/env python3
"""Reads an identity card to a record, which it prints as JSON, and a picture.

    identity_card.py PICTURE.bmp DEVICE      for example: identity_card.py photo.bmp /dev/ttyS0

The photo on a card is compressed; the library has libwlt.so in the working directory take it apart.
"""

import ctypes
import json
import struct
import sys

MY_PORT, BAUD, WAIT_S = 15, 9600, 10

RESIDENT = ["name", "sex", "nation", "birth", "address", "number", "authority", "valid_from", "valid_until"]
FOREIGNER = ["english_name", "sex", "country", "birth", None, "number", "authority", "valid_from",
             "valid_until", None, "chinese_name", "version"]
NAMES = {
    "N": RESIDENT,
    "J": [*RESIDENT, None, None, None, "pass_number", "issues"],
    "I": FOREIGNER,
}
KIND = 9  # the field with the kind of card


class ReaderError(Exception):
    def __init__(self, call, number):
        text, length = ctypes.create_string_buffer(56), ctypes.c_int()
        library.RD_GetErrInfo(number, len(text), text, ctypes.byref(length))
        super().__init__(f"{call}: {number} {text.value.decode()}")


class Reader:
    """An open reader: with Reader("/dev/ttyS0") as reader: ..."""

    def __init__(self, device):
        library.GSetComName(MY_PORT, device.encode())
        self.check("RD_Open", library.RD_Open(MY_PORT, BAUD, 0))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        library.RD_Close()

    @staticmethod
    def check(call, number):
        if number != 0:
            raise ReaderError(call, number)

    def identity_card(self, picture):
        text, length = ctypes.create_string_buffer(544), ctypes.c_int()
        number = library.RD_ReadIdInfo(picture.encode(), 0, text, ctypes.byref(length), None, 0, None, None, WAIT_S)
        self.check("RD_ReadIdInfo", number)
        fields = text.value.decode("gb18030").split("|")
        return {name: value for name, value in zip(NAMES[fields[KIND]], fields) if name}


def size_of(picture):
    """Width and height in pixels, which stand behind the first 18 bytes of a BMP file."""
    with open(picture, "rb") as file:
        return struct.unpack("<ii", file.read(26)[18:])


if len(sys.argv) != 3:
    sys.exit("usage: identity_card.py PICTURE.bmp DEVICE")
library = ctypes.CDLL("libdeskreader.so.2")
try:
    with Reader(sys.argv[2]) as reader:
        record = reader.identity_card(sys.argv[1])
    print(json.dumps(record, ensure_ascii=False, indent=2))
    print("{}: {} x {} pixels".format(sys.argv[1], *map(abs, size_of(sys.argv[1]))))
except ReaderError as error:
    sys.exit(str(error))
