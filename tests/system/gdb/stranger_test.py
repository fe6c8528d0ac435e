#!/usr/bin/env python3
"""Who else may find the server's port."""
import http.client
import socket
import struct
import unittest

from served import LIMIT, PROGRAM, Case, packet


class Strangers(Case):
    def receive(self, client, packets):
        received = b""
        while received.count(b"#") < packets or received[-3:-2] != b"#":
            received += client.recv(1000)
        return received

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

    def test_a_slow_client_is_waited_for(self):
        client = self.connect(self.serve())
        for byte in b"+" + packet(b"qC"):
            client.sendall(bytes([byte]))
        self.assertIn(b"$QC1#c5", self.receive(client, 1))

    def test_a_client_that_dies_in_a_write_changes_nothing(self):
        self.lumoflash("program", str(self.example))
        address = self.serve()
        whole = packet(b"vFlashErase:0,2000") + packet(b"vFlashWrite:0:abc")
        for bytes_sent in (whole[:-9], whole, whole + packet(b"vFlashDone")[:-1]):
            client = self.connect(address)
            client.sendall(b"+" + bytes_sent)
            client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))  # as of a killed process
            client.close()
            other = self.connect(address)
            other.sendall(b"+" + packet(b"qC"))
            self.assertIn(b"$QC1#c5", self.receive(other, 1))
            other.close()
        self.end_server()
        self.lumoflash("verify", str(self.example))

    def test_a_quiet_server_tells_errors_alone(self):
        address = self.serve(before=("--quiet",))
        self.gdb(address, "load", file=self.example)
        client = self.connect(address)
        client.sendall(b"+" + packet(b"vFlashErase:0,2000") + packet(b"vFlashWrite:ffffff:a") + packet(b"vFlashDone"))
        self.receive(client, 3)
        client.close()
        self.end_server()
        self.assertRegex(self.log(), r"^error: 1 byte at 0x00FFFFFF outside of the flash[^\n]*\n$")

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
