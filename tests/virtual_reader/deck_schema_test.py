#!/usr/bin/env python3
"""The schema of decks and the reader that takes them agree: what one refuses the other refuses, too.
Their two known differences are told in the schema. $SCHEMA, $PROGRAM, $VERDICTS and $SOURCE say where
things are."""

import copy
import json
import os
import pathlib
import subprocess
import unittest

import jsonschema

SCHEMA = json.loads(pathlib.Path(os.environ["SCHEMA"]).read_text())
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)

LIST = "9F02069F03069F1A0295055F2A029A039C019F3704"
KEY = "00112233445566778899AABBCCDDEEFF"
BASICS = {"inserted": False, "slot": 3, "contactless": False, "answer": "3B00", "procedure_bytes": True}

# Every member of every kind of card.
CARDS = [
    {"type": "iso", "name": "c", **BASICS, "seed": 1,
     "files": [{"id": "2F00", "sfi": 1, "data": "text"}, {"id": "2F01", "records": ["a", {"hex": "00"}]}],
     "directories": [{"id": "DF01", "name": "F001", "files": [{"id": "EF01", "data": {"hex": ""}}]}]},
    {"type": "payment", "name": "c", **BASICS, "application": "A000000333", "label": "X",
     "account_number": "99999900", "sequence_number": 1, "expiry": "301231", "effective": "260101",
     "holder": "A", "holder_more": "B", "identity_type": "00", "identity_number": "1", "product": "p",
     "track1_more": "t", "keys": {"cryptogram": KEY, "integrity": KEY, "secrecy": KEY}, "pin": "1234",
     "pin_tries": 3, "transaction_counter": 0, "balance": 1, "balance_limit": 2, "reset_threshold": 3,
     "single_limit": 4, "options": "plain", "cryptogram_objects": False, "directory": True, "block": "none",
     "options_list": "9F6604", "first_list": LIST, "second_list": "8A02", "without": ["5F20", "9F38", "5A"]},
    {"type": "payment", "name": "c", "options": "cryptogram", "options_list": LIST},
    {"type": "purse", "name": "c", **BASICS, "seed": 1, "application": "A000000333", "pin": "1234",
     "pin_tries": 3, "deposit": 0, "purse": 1, "key_index": 1,
     "keys": {"purchase": KEY, "load": KEY, "transaction": KEY, "maintenance": KEY},
     "files": [{"id": "EF15", "sfi": 21, "data": "t"}]},
    {"type": "social-security", "name": "c", **BASICS, "identification": "a", "card_type": "b", "version": "c",
     "organisation": "d", "issued": "e", "expires": "f", "card_number": "g", "number": "h", "person": "i",
     "sex": "j", "nationality": "k", "birth_place": "l", "birth_date": {"hex": "00"}, "without": [1, 13],
     "ends_after": 12},
    {"type": "magnetic", "name": "c", "inserted": True, "track1": "B1^A", "track2": "1=2", "track3": "1'2",
     "damaged": [1, 3]},
    {"type": "identity", "name": "c", "inserted": True, "kind": "resident",
     "texts": {"name": "n", "sex": "1", "nation": "01", "birth": "b", "address": "a", "number": "1",
               "authority": "x", "valid_from": "f", "valid_until": "u"},
     "photo": "p", "fingerprint": "f", "chip_number": "0102030405060708", "card_number": KEY},
    {"type": "identity", "name": "c", "texts": {"nation": "01"}},
    {"type": "identity", "name": "c", "kind": "residence",
     "texts": {"name": "n", "sex": "1", "birth": "b", "address": "a", "number": "1", "authority": "x",
               "valid_from": "f", "valid_until": "u", "pass_number": "p", "issues": "01"}},
    {"type": "identity", "name": "c", "kind": "foreign",
     "texts": {"english_name": "n", "sex": "1", "number": "1", "nationality": "CAN", "chinese_name": "c",
               "valid_from": "f", "valid_until": "u", "birth": "b", "version": "01", "authority": "x"}},
    {"type": "mifare-classic", "name": "c", "inserted": True, "size": "4K", "uid": "01020304",
     "sectors": [{"number": 40, "key_a": "A0A1A2A3A4A5", "key_b": "B0B1B2B3B4B5", "access": "7F078869"}],
     "blocks": [{"number": 254, "data": "d"}, {"number": 5, "value": -1}]},
    {"type": "mifare-classic", "name": "c", "sectors": [{"number": 16}], "blocks": [{"number": 62, "value": 1}]},
    {"type": "ultralight-c", "name": "c", "inserted": True, "uid": "04010203040506", "key": KEY, "data": "d",
     "locks": "00000000", "protected_from": 48, "protects_reading": True, "seed": 1},
    {"type": "hostile", "name": "c", **BASICS, "manner": "sizes"},
    {"type": "hostile", "name": "c", "responses": ["9000", ""]},
    {"type": "vpcd", "name": "c", "contactless": False, "inserted": False, "slot": 1, "host": "127.0.0.1",
     "port": 0, "connect": False, "limit_ms": 1000},
]
DECKS = [{"cards": [card]} for card in CARDS] + [
    {},
    {"$schema": "deck.schema.json",
     "reader": {"information": "i", "serial_number": "s", "baud": 9600, "answer_mode_on_serial": True},
     "cards": [],
     "faults": [{"kind": "corrupt", "after": 1, "times": 1, "at": 5, "count": 1, "ms": 0, "bytes": "FF"}]},
]

# What takes the place of a member, by what stood there. Sizes around every limit, and a bit of all else.
SIZES = (0, 1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 15, 16, 17, 18, 19, 20, 32, 33, 35, 36, 37, 38, 60, 61, 76, 77, 100,
         101, 104, 105)
OTHERS = [None, True, False, 0, -1, 1.5, "", "00", [], [None], ["00"], [0], [{}], {}, {"hex": "00"}]
VALUES = {
    str: OTHERS + ["0" * size for size in SIZES] + ["A" * (2 * size) for size in (1, 6, 14, 32, 64, 65, 100, 101)]
         + ["x", "a b", "a\tb", "a\rb", "a\n", "00\n", "0g", "ab", "%", "?", "_", "a", "=", "\u6837\u672c",
            "\U0001F600", "9F02", "9F0206", "9F9F", LIST + "9F", LIST.lower(), LIST[:-8], "DF8201", "9F02820006",
            "300230", "300032", "301301", "300100", "1K", "4K", "resident", "foreign", "residence", "plain",
            "objects", "cryptogram", "card", "application", "endless-6C", "endless-6c", "lists", "unplug", "iso",
            "payment", "vpcd", "corrupt", {"hex": ""}, {"hex": "0"}, {"hex": "0G"}, {"hex": 0}, {"hex": "00", "x": 0}]
         + ["x" * size for size in (16, 17, 40, 41, 64, 65, 144, 145, 255, 256, 1024, 1025)]
         + [{"hex": "00" * size} for size in (16, 17, 40, 41, 64, 65, 144, 145, 255, 256, 1024, 1025)],
    int: OTHERS + [1, 2, 3, 7, 12, 13, 14, 15, 16, 17, 30, 31, 32, 40, 41, 48, 49, 62, 63, 64, 99, 100, 127, 128,
                   143, 255, 256, 300, 1200, 14400, 60000, 60001, 65535, 65536, 115200, 1000000, 1000001,
                   2147483647, 2147483648, -2147483648, -2147483649, 4294967295, 4294967296, 999999999999,
                   1000000000000, 9223372036854775807, 18446744073709551615, 1.0, 3e0, 1e300, -0.5, "9600"],
    bool: OTHERS,
    list: OTHERS + ["x"],
    dict: OTHERS + [{"x": 1}, "x", {"id": "2F00", "data": "", "records": []}],
}


def places(value, path=()):
    """The paths of all values in a deck."""
    yield path
    if isinstance(value, dict):
        for key in value:
            yield from places(value[key], path + (key,))
    elif isinstance(value, list):
        for index, element in enumerate(value):
            yield from places(element, path + (index,))


def at(deck, path):
    for step in path:
        deck = deck[step]
    return deck


def changed(deck, path, change):
    deck = copy.deepcopy(deck)
    change(at(deck, path[:-1]), path[-1])
    return deck


def variants(deck):
    """Decks that differ from one in one place: another value, a member less, an unknown one more."""
    for path in places(deck):
        value = at(deck, path)
        if isinstance(value, dict):
            yield changed(deck, path + ("unknown",), lambda where, key: where.__setitem__(key, 1))
        if not path:
            continue
        yield changed(deck, path, lambda where, key: where.__delitem__(key))
        for other in VALUES[type(value)]:
            yield changed(deck, path, lambda where, key, other=other: where.__setitem__(key, other))


def verdicts_of_reader(decks):
    """What the reader says of each deck: None, or what is wrong."""
    lines = "".join(json.dumps(deck) + "\n" for deck in decks)
    run = subprocess.run([os.environ["VERDICTS"]], input=lines, capture_output=True, text=True, check=True)
    answers = run.stdout.split("\n")[:-1]
    assert len(answers) == len(decks), f"{len(answers)} answers to {len(decks)} decks"
    return [None if answer == "right" else answer for answer in answers]


def fits_schema(deck):
    return VALIDATOR.is_valid(deck)


class Schema(unittest.TestCase):
    def test_is_one(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_decks_with_everything_are_right(self):
        for deck, verdict in zip(DECKS, verdicts_of_reader(DECKS)):
            self.assertEqual([error.message for error in VALIDATOR.iter_errors(deck)], [], deck)
            self.assertIsNone(verdict)

    def test_they_have_every_member(self):
        found = {kind: set() for kind in SCHEMA["$defs"]["card"]["properties"]["type"]["enum"]}
        for card in CARDS:
            found[card["type"]] |= set(card)
        for kind, members in found.items():
            self.assertEqual(set(SCHEMA["$defs"][kind]["properties"]), members, kind)

    def test_it_and_the_reader_agree(self):
        seen = {}
        for deck in DECKS:
            for variant in variants(deck):
                seen.setdefault(json.dumps(variant), variant)
        decks = list(seen.values())
        self.assertGreater(len(decks), 5000)
        differences = []
        right = 0
        for deck, verdict in zip(decks, verdicts_of_reader(decks)):
            right += verdict is None
            if fits_schema(deck) != (verdict is None):
                differences.append((json.dumps(deck), verdict))
        self.assertEqual(differences[:10], [])
        self.assertGreater(right, 500)
        self.assertGreater(len(decks) - right, 500)

    def test_two_rules_are_the_readers_alone(self):
        decks = [
            {"cards": [{"type": "iso", "name": "a"}, {"type": "hostile", "name": "a", "manner": "logs"}]},
            {"reader": {"serial_number": "\u6837" * 11}},  # 33 bytes
        ]
        for deck in decks:
            self.assertTrue(fits_schema(deck))
        self.assertEqual(verdicts_of_reader(decks), [
            'deck: /cards/1/name: expected a name of its own for each card, found "a"',
            f'deck: /reader/serial_number: expected at most 32 characters, found "{chr(0x6837) * 11}"'])


class Decks(unittest.TestCase):
    def check(self, name, deck):
        self.assertEqual([f"{error.json_path}: {error.message}" for error in VALIDATOR.iter_errors(deck)], [], name)
        self.assertEqual(verdicts_of_reader([deck]), [None], name)

    def test_the_built_in_one_is_right(self):
        run = subprocess.run([os.environ["PROGRAM"], "--show-deck"], capture_output=True, check=True)
        self.check("built-in", json.loads(run.stdout))

    def test_those_in_the_tree_are_right(self):
        listed = subprocess.run(["git", "-C", os.environ["SOURCE"], "ls-files", "*.json"], capture_output=True,
                                text=True)
        for name in listed.stdout.split("\n")[:-1]:
            content = json.loads((pathlib.Path(os.environ["SOURCE"]) / name).read_text())
            if isinstance(content, dict) and content and set(content) <= {"$schema", "reader", "cards", "faults"}:
                with self.subTest(name):
                    self.check(name, content)

    def test_a_file_is_checked_by_the_program(self):
        for deck, status, errors in (
                ("{}", 0, ""),
                ('{"cards": {}}', 1, "virtual-reader: /dev/stdin: /cards: expected an array, found object\n")):
            run = subprocess.run([os.environ["PROGRAM"], "--check", "--deck", "/dev/stdin"], input=deck,
                                 capture_output=True, text=True)
            self.assertEqual((run.returncode, run.stdout, run.stderr), (status, "", errors))


if __name__ == "__main__":
    unittest.main()
