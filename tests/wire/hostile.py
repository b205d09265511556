"""A client that throws packets and sees whether the agent still answers."""

import socket
import time

# A request between the hostile packets is answered within this many seconds; far below any
# manager's patience, far above what a loaded machine needs.
DEADLINE = 5


class Client:
    """A socket that throws packets and, to a request of its own, waits for the answer."""

    def __init__(self, port):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.connect(("127.0.0.1", port))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def throw(self, packet):
        self.socket.send(packet)

    def answers(self, question):
        """How long the agent takes to answer a request, among the answers to earlier packets."""
        begun = time.monotonic()
        self.socket.send(question.packet)
        while time.monotonic() < begun + DEADLINE:
            self.socket.settimeout(max(0.001, begun + DEADLINE - time.monotonic()))
            try:
                if question.mark in self.socket.recv(65535):
                    return time.monotonic() - begun
            except socket.timeout:
                break
        return None


class Question:
    """A GET of sysUpTime, known by its request number."""

    def __init__(self, number):
        self.mark = b"\x02\x04" + number.to_bytes(4, "big")
        name = b"\x06\x08\x2b\x06\x01\x02\x01\x01\x03\x00"
        binds = b"\x30\x0e\x30\x0c" + name + b"\x05\x00"
        request = self.mark + b"\x02\x01\x00\x02\x01\x00" + binds
        request = b"\xa0" + bytes((len(request),)) + request
        message = b"\x02\x01\x01\x04\x06public" + request
        self.packet = b"\x30" + bytes((len(message),)) + message
