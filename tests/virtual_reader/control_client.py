#!/usr/bin/env python3
"""A test suite in another language: starts the virtual reader, commands it at its control socket and
talks to it at its line as a host would. The program is $PROGRAM."""

import os
import select
import signal
import socket
import stat
import subprocess
import sys
import tempfile
import termios
import threading
import time
import tty
import unittest


class Desk:
    """One client of a control socket."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(10)
        self.socket.connect(path)
        self.lines = self.socket.makefile("r")

    def say(self, command):
        """The lines of an answer, its last one at the end."""
        self.socket.sendall(command.encode() + b"\n")
        answer = []
        while True:
            line = self.lines.readline()
            if not line:
                raise EOFError("the reader has hung up")
            answer.append(line.rstrip("\n"))
            if line.startswith(("ok", "error")):
                return answer

    def close(self):
        self.lines.close()
        self.socket.close()


class Host:
    """The other end of the reader's line, at 9600 baud."""

    def __init__(self, device):
        self.line = os.open(device, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(self.line, termios.TCSANOW)
        settings = termios.tcgetattr(self.line)
        settings[4] = settings[5] = termios.B9600
        termios.tcsetattr(self.line, termios.TCSANOW, settings)

    def exchange(self, command, limit=5.0):
        """Sends a command in the IC frame; the body of the answer, None if none comes."""
        body = bytes([0x60, len(command)]) + command
        check = 0
        for byte in body:
            check ^= byte
        os.write(self.line, (body + bytes([check])).hex().upper().encode() + b"\x03")
        answer = b""
        while not answer.endswith(b"\x03"):
            if not select.select([self.line], [], [], limit)[0]:
                return None
            answer += os.read(self.line, 512)
        return bytes.fromhex(answer[:-1].decode())[2:-1]

    def close(self):
        os.close(self.line)


POWER_ON = bytes.fromhex("E101")
MEMBER = bytes.fromhex("003B0444455348")
BANK = bytes.fromhex("003B0442414E4B")
NO_CARD = bytes.fromhex("FB")


class ControlSocket(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.path = os.path.join(self.directory.name, "desk")
        self.program = subprocess.Popen(
            [os.environ["PROGRAM"], "--control", self.path],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        self.device = self.program.stdout.readline().strip()
        self.host = Host(self.device)
        self.desk = Desk(self.path)

    def tearDown(self):
        self.desk.close()
        self.host.close()
        if self.program.poll() is None:
            self.program.kill()
        self.program.wait()
        self.program.stdout.close()
        self.directory.cleanup()

    def test_only_the_user_may_open_it(self):
        self.assertEqual(stat.S_IMODE(os.lstat(self.path).st_mode), 0o600)

    def test_cards_come_and_go(self):
        self.assertEqual(self.host.exchange(POWER_ON), MEMBER)
        self.assertEqual(self.desk.say("remove member"), ["ok"])
        self.assertEqual(self.host.exchange(POWER_ON), NO_CARD)
        self.assertEqual(self.desk.say("insert bank"), ["ok"])
        self.assertEqual(self.host.exchange(POWER_ON), BANK)
        self.assertEqual(self.desk.say("swap bank member"), ["ok"])
        self.assertEqual(self.host.exchange(POWER_ON), MEMBER)
        self.assertEqual(self.desk.say("list")[:2],
                         ["  member: slot 0, powered", "  visitor: in the field, not powered"])

    def test_answers_go_wrong(self):
        self.assertEqual(self.desk.say("fault status bytes A2"), ["ok"])
        self.assertEqual(self.host.exchange(POWER_ON), bytes.fromhex("A23B0444455348"))
        self.assertEqual(self.desk.say("fault mute"), ["ok"])
        self.assertIsNone(self.host.exchange(POWER_ON, limit=0.2))
        self.assertEqual(self.desk.say("fault none"), ["ok"])
        self.assertEqual(self.host.exchange(POWER_ON), MEMBER)

    def test_it_is_plugged_in_again(self):
        self.assertEqual(self.desk.say("unplug"), ["ok"])
        self.assertEqual(self.desk.say("status")[-2][-11:], ", unplugged")
        self.assertEqual(self.desk.say("plug"), ["ok"])
        device = self.program.stdout.readline().strip()
        self.assertNotEqual(device, self.device)
        again = Host(device)
        self.assertEqual(again.exchange(POWER_ON), MEMBER)
        again.close()

    def test_mistakes_are_told(self):
        self.assertEqual(self.desk.say("insert nobody"), ["error no card is named nobody"])
        self.assertEqual(self.desk.say("dance"), ["error no command is named dance; help tells them"])
        self.assertEqual(self.desk.say("help")[-1], "ok")

    def test_several_clients_at_a_time(self):
        wrong = []

        def swap(cards):
            desk = Desk(self.path)
            for _ in range(50):
                for card in cards:
                    answer = desk.say("insert " + card)
                    if answer != ["ok"]:
                        wrong.append(answer)
            desk.close()

        clients = [threading.Thread(target=swap, args=(cards,))
                   for cards in (("member", "bank"), ("visitor", "locker"), ("resident", "foreign"))]
        for client in clients:
            client.start()
        for client in clients:
            client.join()
        self.assertEqual(wrong, [])
        self.assertEqual(self.host.exchange(POWER_ON), BANK)

    def test_quit_ends_the_program_and_removes_the_socket(self):
        self.assertEqual(self.desk.say("quit"), ["ok"])
        self.assertEqual(self.program.wait(10), 0)
        self.assertFalse(os.path.exists(self.path))

    def test_a_signal_does_so_too(self):
        self.program.send_signal(signal.SIGTERM)
        self.assertEqual(self.program.wait(10), 0)
        self.assertFalse(os.path.exists(self.path))

    def test_the_end_of_input_does_not(self):
        time.sleep(0.1)
        self.assertIsNone(self.program.poll())

    def test_a_place_that_is_taken_is_no_place(self):
        other = subprocess.run([os.environ["PROGRAM"], "--control", self.path],
                               stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=10)
        self.assertEqual(other.returncode, 1)
        self.assertEqual(other.stderr, f"virtual-reader: {self.path}: Address already in use\n")
        self.assertEqual(self.desk.say("remove member"), ["ok"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
