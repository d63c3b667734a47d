#!/usr/bin/env python3
"""How long a picture of 26 megapixels takes to a client, beside the bare copy of as many bytes over a loopback socket.

    speed.py [ROUNDS]
"""

import os
import socket
import sys
import threading
import time

from alpaca import Client
from server import Server

HEADER = 44


def received(connection, room, size):
    """Seconds until `size` bytes have come."""
    view = memoryview(room)
    began = time.perf_counter()
    at = 0
    while at < size:
        count = connection.recv_into(view[at:size])
        if count == 0:
            raise AssertionError(f"the connection ended after {at} of {size} bytes")
        at += count
    return time.perf_counter() - began


def bare(size, room):
    """Seconds for a copy from a thread that only sends, whole and at once, as fast as the system takes it."""
    data = os.urandom(1 << 20) * (size // (1 << 20) + 1)
    with socket.create_server(("127.0.0.1", 0)) as listener:
        def send():
            connection, _ = listener.accept()
            with connection:
                connection.recv(1)
                connection.sendall(memoryview(data)[:size])
        thread = threading.Thread(target=send)
        thread.start()
        with socket.create_connection(listener.getsockname()) as connection:
            connection.sendall(b"!")
            took = received(connection, room, size)
        thread.join()
    return took


def picture(server, path, size, room):
    """Seconds from the request to the picture's last byte."""
    with socket.create_connection((server.host, server.port)) as connection:
        words = f"GET {path} HTTP/1.1\r\nHost: {server.host}\r\nAccept: application/imagebytes\r\n\r\n".encode()
        began = time.perf_counter()
        connection.sendall(words)
        head = b""
        while b"\r\n\r\n" not in head:
            head += connection.recv(1)
        received(connection, room, size)
        return time.perf_counter() - began


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 15
    with Server(cameras=["virtual:x26m,timescale=0.001"]) as server:
        client = Client(server, 0)
        client.put("connected", Connected="True")
        client.expose(0.01)
        size = 2 * client.get("cameraxsize") * client.get("cameraysize") + HEADER
        room = bytearray(size)
        path = "/api/v1/camera/0/imagearray?ClientID=1"
        pairs = [(bare(size, room), picture(server, path, size, room)) for _ in range(rounds)]
        client.close()
    best_bare, best_picture = (min(column) for column in zip(*pairs))
    middle_bare, middle_picture = (sorted(column)[rounds // 2] for column in zip(*pairs))
    print(f"{size / 1e6:.1f} MB, {rounds} rounds in turn: bare copy {1e3 * best_bare:.1f} ms (median {1e3 * middle_bare:.1f}), "
          f"ImageBytes {1e3 * best_picture:.1f} ms (median {1e3 * middle_picture:.1f}): "
          f"{best_picture / best_bare:.2f} times (median {middle_picture / middle_bare:.2f})")
    return 0 if middle_picture <= 2 * middle_bare or best_picture <= 2 * best_bare else 1


if __name__ == "__main__":
    sys.exit(main())
