# SPDX-License-Identifier: MIT
"""usage: slow_clients.py PORT COUNT: clients that send or read a byte a second, each at a moment of its own.

A process of its own, so that it takes no time from those who measure. It prints `ready` when all are there, and what has
become of them as JSON when its standard input ends: how many were dropped of each kind, and when at the latest.
"""
import json
import os
import select
import socket
import sys
import time

KINDS = ("head", "body", "answer")
BEATS = 20  # a second, in which every 20th has its turn
# 12 MB, which no buffer between takes.
PATH, BODY = "/v1/draw?format=bmp&size=2000x2000", b'[{"Content": "for slow readers"}]'


def begin(port, kind):
    client = socket.socket()
    if kind == "answer":
        client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
    client.connect(("127.0.0.1", port))
    asked = f"POST {PATH} HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n".encode()
    client.sendall({"head": b"POST /v1/draw HTTP/1.1\r\nHost: localhost\r\nX-Slow: ", "body": asked + b"Content-Length: 1000\r\n\r\n",
                    "answer": asked + b"Content-Length: %d\r\n\r\n" % len(BODY) + BODY}[kind])
    client.setblocking(False)
    return client


def is_alive(client, kind):
    """After a byte to it or from it. An answer to half a request is the end of it."""
    try:
        if kind == "answer":
            return client.recv(1) != b""
        client.send(b"a")
        client.recv(1000)
        return False
    except BlockingIOError:
        return True
    except OSError:
        return False


def main():
    port, count = int(sys.argv[1]), int(sys.argv[2])
    clients = {begin(port, KINDS[i % 3]): (KINDS[i % 3], i % BEATS) for i in range(count)}
    dropped, start, beat = dict.fromkeys(KINDS, 0), time.monotonic(), 0
    print("ready", flush=True)
    while True:
        for client in [client for client, (_, turn) in clients.items() if turn == beat % BEATS]:
            if not is_alive(client, clients[client][0]):
                dropped[clients.pop(client)[0]] += 1
                last = time.monotonic() - start
                client.close()
        beat += 1
        wait = max(0, start + beat / BEATS - time.monotonic())
        if select.select([sys.stdin], [], [], wait)[0] and not os.read(0, 1):
            break
    print(json.dumps({"dropped": dropped, "left": len(clients), "last": last if sum(dropped.values()) else None}), flush=True)


if __name__ == "__main__":
    main()
