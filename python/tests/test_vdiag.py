"""The package and the examples on simulated phones, and the server under several callers. PATH leads to the programs."""
import importlib.util
import json
import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))
sys.dont_write_bytecode = True

import vdiag  # noqa: E402


def example(name):
    spec = importlib.util.spec_from_file_location(name, HERE.parent / "examples" / (name + ".py"))
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


class PhoneTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.simulated = vdiag.SimulatedPhone(count=2, scale=0)

    @classmethod
    def tearDownClass(cls):
        cls.simulated.close()

    def setUp(self):
        self.phone = self.simulated.connect()
        self.addCleanup(self.phone.close)

    def test_arguments_and_fields_have_their_types(self):
        phone = self.phone
        phone.ftm.WriteWifimac(mac="02:00:00:00:00:01")
        self.assertEqual(phone.ftm.readwifimac().mac, "02:00:00:00:00:01")
        phone.info.set({"operator": "A=B", "color": "hex:00"})
        self.assertEqual(phone.info.get(["color", "operator"]).fields["values"], {"color": "hex:00", "operator": "A=B"})
        phone.ftm.WriteVC("python", "[a, b]")
        self.assertEqual(phone.ftm.ReadVC("python").value, "[a, b]")
        self.assertEqual(phone.raw(bytes.fromhex("4bca0400")), bytes.fromhex("154bca0400"))
        self.assertIs(type(phone.battery().capacity), int)
        phone.ftm.StoreBoardNum(b"B7\0")
        self.assertEqual((pathlib.Path(self.simulated.roots[0]) / "cache/board_number").read_bytes()[:3], b"B7\0")

    def test_every_class_of_failure_has_its_exception(self):
        phone = self.phone
        with self.assertRaises(vdiag.StatusError) as caught:
            phone.ftm.WriteWifimac("01:00:00:00:00:01")
        self.assertEqual(caught.exception.status, 4)
        for call in (lambda: phone.ftm.WriteWifimac("nonsense"), lambda: phone.ftm.WriteWifimac(),
                     lambda: phone.ftm.WriteWifimac("02:00:00:00:00:01", "more"), lambda: phone.ftm.WriteWifimac(mak="x"),
                     lambda: phone.ftm.WriteVC("text:x", "y"), lambda: phone.battery(timeout="soon")):
            self.assertRaises(vdiag.UsageError, call)
        with self.assertRaises(vdiag.Refused):
            phone.request({"command": "raw", "arguments": ["63"]})
        with self.assertRaises(vdiag.ConnectFailed):
            with vdiag.connect("unix:/nowhere") as nobody:
                nobody.battery()
        with self.assertRaises(vdiag.Failure):
            vdiag.connect(program="/nowhere/vdiag")
        with self.assertRaises(AttributeError):
            phone.ftm.NoSuchCommand
        self.assertEqual(phone.battery().capacity, 87)  # none of it has hurt the connection

    def test_help_and_names_are_the_catalogues(self):
        self.assertIn("ReadWifimac", dir(self.phone.ftm))
        self.assertIn("mac: address, six bytes", self.phone.ftm.WriteWifimac.__doc__)
        listed = subprocess.run(["vdiag", "help", "ftm", "WriteVC"], capture_output=True, text=True, check=True).stdout
        self.assertIn(self.phone.ftm.WriteVC.__doc__.split(".")[0], listed)

    def test_a_phone_that_went_down_is_there_again(self):
        with self.simulated.connect(2, timeout="1s") as phone:
            try:
                phone.ftm.RebootFtm()
            except vdiag.Ended:
                pass  # the answer lost the race
            properties = pathlib.Path(self.simulated.roots[1]) / ".sim/properties/ro.bootmode"
            for _ in range(200):
                try:
                    if properties.read_text() == "ffbm-99" and phone.battery():
                        break
                except (vdiag.VdiagError, OSError):
                    pass  # not up yet
                time.sleep(0.05)
            self.assertEqual(properties.read_text(), "ffbm-99")
            self.assertTrue(phone.ftm.ReadWifimac().mac)

    def test_examples(self):
        keywords = example("keywords").PhoneKeywords()
        keywords.open_phone(self.simulated.addresses[0])
        keywords.send_command("ftm WriteWifimac", "02:00:00:00:00:02")
        keywords.field_should_be("ftm ReadWifimac", "mac", "02:00:00:00:00:02")
        self.assertRaises(AssertionError, keywords.field_should_be, "ftm ReadWifimac", "mac", "02:00:00:00:00:03")
        keywords.close_phone()
        plugs = example("plug")
        plugs.PhonePlug.address = self.simulated.addresses[0]
        plug = plugs.PhonePlug()
        measured = {}
        self.assertTrue(plugs.measure_battery(measured, plug))
        self.assertEqual(measured, {"battery_percent": 87})
        plug.tearDown()


class ServerTest(unittest.TestCase):
    def setUp(self):
        self.simulated = vdiag.SimulatedPhone(scale=0)
        self.addCleanup(self.simulated.close)
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        self.path = self.directory.name + "/serve"
        self.process = subprocess.Popen(["vdiag", "serve", "-c", self.simulated.addresses[0], "--listen", "unix:" + self.path])
        for _ in range(200):
            with socket.socket(socket.AF_UNIX) as stream:
                if stream.connect_ex(self.path) == 0:
                    break
            time.sleep(0.05)
        self.addCleanup(self.process.wait)
        self.addCleanup(self.process.terminate)

    def caller(self):
        stream = socket.socket(socket.AF_UNIX)
        self.addCleanup(stream.close)
        stream.connect(self.path)
        stream.settimeout(60)
        return stream

    def test_callers_keep_apart_in_order_and_one_that_does_not_read_delays_nobody(self):
        lazy = self.caller()
        lazy.settimeout(5)
        with self.assertRaises(socket.timeout):  # what it does not read it may not ask for
            lazy.sendall(b'{"id": "lazy", "command": "raw", "arguments": ["%s"]}\n' % (b"63" * 4000) * 800)
        results = {}

        def converse(name):
            with vdiag.connect(server=self.path) as phone:
                for n in range(100):
                    phone.ftm.WriteVC(name, str(n))
                    if phone.ftm.ReadVC(name).value != str(n):
                        results[name] = n
                        return
            results[name] = "good"

        threads = [threading.Thread(target=converse, args=(f"caller{n}",)) for n in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(results, {f"caller{n}": "good" for n in range(4)})

    def test_a_bad_line_gets_an_error_record_and_harms_nothing(self):
        self.caller().sendall(b'{"id": 1, "command": "ftm Wr')  # and leaves
        stream = self.caller()
        bad = [b"", b"nonsense", b"[1]", b'{"id": {}, "command": "battery"}', b'{"command": "battery"}', b'{"id": 1}',
               b'{"id": 2, "command": "run", "arguments": ["x"]}', b'{"id": 3, "command": "battery", "connect": "x"}',
               b'{"id": 4, "command": "battery", "options": {"pcap": "x"}}', b'{"id": 5, "command": ""}',
               b'{"id": 6, "command": "raw"}', b'{"id": 7, "command": "ftm ReadVC", "arguments": [[]]}', b"[" * 100000,
               b'{"id": 8, "command": "\xff\xfe"}', b"x" * 3000000, b'{"id": 9, "command": "battery"}']
        sender = threading.Thread(target=stream.sendall, args=(b"\n".join(bad) + b"\n",))
        sender.start()
        with stream.makefile("rb") as reader:
            records = [json.loads(reader.readline()) for _ in bad[1:]]  # an empty line has none
        sender.join()
        self.assertEqual([record["class"] for record in records], ["usage"] * (len(bad) - 2) + ["done"])
        self.assertEqual([record["id"] for record in records],
                         [None, None, None, None, 1, 2, 3, 4, 5, 6, 7, None, None, None, 9])

    def test_the_socket_is_its_owners_and_goes_with_the_server(self):
        self.assertEqual(os.stat(self.path).st_mode & 0o777, 0o600)
        self.process.terminate()
        self.assertEqual(self.process.wait(), 0)
        self.assertFalse(os.path.exists(self.path))


if __name__ == "__main__":
    unittest.main()
