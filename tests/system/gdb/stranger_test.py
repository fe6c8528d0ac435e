#!/usr/bin/env python3
"""Who else may find the server's port."""
import http.client
import unittest

from served import LIMIT, PROGRAM, Case, packet


class Strangers(Case):
    def test_a_web_page_reaches_no_packet(self):
        self.lumoflash("program", str(self.example))
        host, port = self.serve().split(":")
        connection = http.client.HTTPConnection(host, int(port), timeout=LIMIT)
        self.addCleanup(connection.close)
        with self.assertRaises((http.client.HTTPException, ConnectionError)):
            connection.request("POST", "/", packet(b"vFlashErase:0,58000") + packet(b"vFlashDone"))
            connection.getresponse()
        self.assertIn("Turned a client away", self.log())
        self.end_server()
        self.lumoflash("verify", str(self.example))

    def test_a_second_client_is_turned_away(self):
        address = self.serve()
        first = self.connect(address)
        first.sendall(b"+" + packet(b"?"))
        self.assertTrue(first.recv(100))
        second = self.connect(address)
        self.assertEqual(second.recv(100), b"")
        self.assertIn("Turned a second client away", self.log())
        first.sendall(b"+" + packet(b"qC"))
        self.assertIn(b"QC1", first.recv(100))

    def test_a_packet_that_is_too_long_ends_the_visit(self):
        client = self.connect(self.serve("--packet-size", "512"))
        client.sendall(b"$" + b"x" * 1000)
        self.assertEqual(client.recv(100), b"")

    def test_once_ends_with_the_first_client(self):
        self.connect(self.serve("--once")).close()
        self.assertEqual(self.server.wait(LIMIT), 0)

    def test_whoever_listens_to_all_is_warned(self):
        self.server = None
        import subprocess
        server = subprocess.Popen([PROGRAM, "--device", self.part, "gdbserver", "--listen", "0.0.0.0:0"],
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL)
        self.assertTrue(server.stdout.readline().startswith(b"listening on 0.0.0.0:"))
        server.terminate()
        self.assertIn(b"warning: Whoever reaches this port", server.communicate(timeout=LIMIT)[1])
        self.assertEqual(server.returncode, 0)

    def test_a_port_that_is_taken_is_told(self):
        address = self.serve()
        self.chip = self.path / "other.bin"
        result = self.lumoflash("gdbserver", "--listen", address, code=4)
        self.assertIn(f"Cannot listen at {address}".encode(), result.stderr)

    def test_a_place_that_is_none_is_refused(self):
        for place in ("nowhere", "127.0.0.1:70000", "127.0.0.1:"):
            self.assertIn(b"--listen", self.lumoflash("gdbserver", "--listen", place, code=2).stderr)


if __name__ == "__main__":
    unittest.main()
