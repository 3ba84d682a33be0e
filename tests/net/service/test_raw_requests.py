# SPDX-License-Identifier: MIT
"""Requests, byte by byte, whose end two readers may see at different places (RFC 9112, 6.3 and 11.2), and heads beyond limits.

Behind each stands a second request. Where the first is refused, the second must not be answered: the connection is closed.
"""
import pytest

POST = b"POST /v1/describe HTTP/1.1\r\n"
JSON = b"Host: localhost\r\nContent-Type: application/json\r\n"
SECOND = b"GET /healthz HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n"
CHUNKED = b"Transfer-Encoding: chunked\r\n"


def get(fields=b"Host: localhost\r\n", line=b"GET /healthz HTTP/1.1\r\n"):
    return line + fields + b"\r\n"


def chunks(body):
    return POST + JSON + CHUNKED + b"\r\n" + body


REFUSED = {
    # How long is the body?
    "Content-Length and Transfer-Encoding": (400, POST + JSON + b"Content-Length: 5\r\n" + CHUNKED + b"\r\n0\r\n\r\n"),
    "Transfer-Encoding and Content-Length": (400, POST + JSON + CHUNKED + b"Content-Length: 5\r\n\r\n0\r\n\r\n"),
    "two lengths": (400, POST + JSON + b"Content-Length: 2\r\nContent-Length: 3\r\n\r\n[]"),
    "two equal lengths": (400, POST + JSON + b"Content-Length: 2\r\nContent-Length: 2\r\n\r\n[]"),
    "a list of lengths": (400, POST + JSON + b"Content-Length: 2, 2\r\n\r\n[]"),
    "a length with a sign": (400, POST + JSON + b"Content-Length: +2\r\n\r\n[]"),
    "a negative length": (400, POST + JSON + b"Content-Length: -2\r\n\r\n[]"),
    "a hexadecimal length": (400, POST + JSON + b"Content-Length: 0x2\r\n\r\n[]"),
    "an empty length": (400, POST + JSON + b"Content-Length:\r\n\r\n[]"),
    "a length with a blank inside": (400, POST + JSON + b"Content-Length: 2 2\r\n\r\n[]"),
    "a length beyond 64 bits": (400, POST + JSON + b"Content-Length: 18446744073709551618\r\n\r\n[]"),
    "an unknown coding": (400, POST + JSON + b"Transfer-Encoding: xchunked\r\n\r\n0\r\n\r\n"),
    "chunked is not the last coding": (400, POST + JSON + b"Transfer-Encoding: chunked, identity\r\n\r\n0\r\n\r\n"),
    "chunked twice": (400, POST + JSON + CHUNKED + CHUNKED + b"\r\n0\r\n\r\n"),
    "chunked twice in one field": (400, POST + JSON + b"Transfer-Encoding: chunked, chunked\r\n\r\n0\r\n\r\n"),
    "chunked behind a vertical tab": (400, POST + JSON + b"Transfer-Encoding: \x0bchunked\r\n\r\n0\r\n\r\n"),
    "chunked in HTTP/1.0": (400, POST.replace(b"1.1", b"1.0") + JSON + CHUNKED + b"\r\n0\r\n\r\n"),
    "a chunk size with a sign": (400, chunks(b"+2\r\n[]\r\n0\r\n\r\n")),
    "a chunk size with 0x": (400, chunks(b"0x2\r\n[]\r\n0\r\n\r\n")),
    "a chunk size beyond 64 bits": (400, chunks(b"10000000000000002\r\n[]\r\n0\r\n\r\n")),
    "an empty chunk size": (400, chunks(b"\r\n[]\r\n0\r\n\r\n")),
    "a chunk size that ends with LF alone": (400, chunks(b"2\n[]\r\n0\r\n\r\n")),
    "a chunk without its line end": (400, chunks(b"2\r\n[]0\r\n\r\n")),
    "a chunk longer than its size": (400, chunks(b"1\r\n[]\r\n0\r\n\r\n")),
    "a control character in an extension": (400, chunks(b"2;a=\"\x01\"\r\n[]\r\n0\r\n\r\n")),
    "a line end in an extension": (400, chunks(b"2;a=\"\n\"\r\n[]\r\n0\r\n\r\n")),
    # Where does a line end?
    "lines that end with LF alone": (400, get().replace(b"\r\n", b"\n")),
    "one line that ends with LF alone": (400, get(b"Host: localhost\nX: y\r\n")),
    "CR inside a value": (400, get(b"Host: localhost\r\nX: a\rb\r\n")),
    "NUL inside a value": (400, get(b"Host: localhost\r\nX: a\0b\r\n")),
    "a folded line": (400, get(b"Host: localhost\r\nX: a\r\n b\r\n")),
    "a folded line at the start": (400, get(b" X: a\r\nHost: localhost\r\n")),
    # What is a field?
    "a blank before the colon": (400, get(b"Host: localhost\r\nX : y\r\n")),
    "a length with a blank before the colon": (400, POST + JSON + b"Content-Length : 2\r\n\r\n[]"),
    "a field without a name": (400, get(b"Host: localhost\r\n: y\r\n")),
    "a field without a colon": (400, get(b"Host: localhost\r\nX\r\n")),
    "a name with a blank inside": (400, get(b"Host: localhost\r\nX Y: z\r\n")),
    # What is asked for, and of whom?
    "no Host": (400, get(b"")),
    "two Hosts": (400, get(b"Host: localhost\r\nHost: localhost\r\n")),
    "an empty Host": (400, get(b"Host:\r\n")),
    "a Host with a path": (400, get(b"Host: localhost/x\r\n")),
    "another's Host": (421, get(b"Host: example.org\r\n")),
    "another's Host with ours as its user": (400, get(b"Host: localhost@example.org\r\n")),
    "a target with another's name": (400, get(line=b"GET http://example.org/healthz HTTP/1.1\r\n")),
    "a target without a slash": (400, get(line=b"GET healthz HTTP/1.1\r\n")),
    "a target with a blank": (400, get(line=b"GET /health z HTTP/1.1\r\n")),
    "two blanks in the request line": (400, get(line=b"GET  /healthz HTTP/1.1\r\n")),
    "no version": (400, get(line=b"GET /healthz\r\n")),
    "HTTP/1.2 in small letters": (400, get(line=b"GET /healthz http/1.1\r\n")),
    "the preface of HTTP/2": (400, b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n"),
    "a greeting of TLS": (400, b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03" + bytes(range(64))),
    # How much?
    "a value of 20 KiB": (431, get(b"Host: localhost\r\nX: " + b"a" * 20000 + b"\r\n")),
    "a request line of 20 KiB": (431, get(line=b"GET /" + b"a" * 20000 + b" HTTP/1.1\r\n")),
    "1,000 fields": (431, get(b"Host: localhost\r\n" + b"".join(b"X%d: a\r\n" % i for i in range(1000)))),
    "a trailer of 20 KiB": (431, chunks(b"2\r\n[]\r\n0\r\nX: " + b"a" * 20000 + b"\r\n\r\n")),
    "1,000 fields in a trailer": (431, chunks(b"2\r\n[]\r\n0\r\n" + b"".join(b"X%d: a\r\n" % i for i in range(1000)) + b"\r\n")),
    "a length beyond the limit": (413, POST + JSON + b"Content-Length: 99999999999\r\n\r\n[]"),
}

ANSWERED = {
    "two requests at once": get(),
    "a body in chunks": chunks(b"5\r\n[{\"Co\r\nd\r\nntent\": \"a\"}]\r\n0\r\n\r\n"),
    "a chunk with an extension": chunks(b"12;a=b\r\n[{\"Content\": \"a\"}]\r\n0\r\n\r\n"),
    "a body of a length": POST + JSON + b"Content-Length: 18\r\n\r\n[{\"Content\": \"a\"}]",
    "the Host with its port": None,
}


@pytest.fixture(scope="module")
def server(build):
    from server import Server
    with Server(build) as running:
        yield running


@pytest.mark.parametrize("name", REFUSED)
def test_what_is_ambiguous_is_refused_and_ends_the_connection(server, name):
    expected, request = REFUSED[name]
    closes_by_itself = expected in (400, 431, 413)
    second = SECOND if not closes_by_itself else SECOND.replace(b"Connection: close\r\n", b"")
    statuses, got, closed = server.raw(request + second)
    assert statuses[:1] == [expected], got[:300]
    assert closed
    if closes_by_itself:
        assert statuses == [expected], "the second request was taken for one of its own"
    assert b"application/problem+json" in got


@pytest.mark.parametrize("name", ANSWERED)
def test_what_is_clear_is_answered_and_the_next_request_too(server, name):
    request = ANSWERED[name] or get(b"Host: 127.0.0.1:%d\r\n" % server.port)
    statuses, got, closed = server.raw(request + SECOND)
    assert statuses == [200, 200], got[:300]
    assert closed


def test_pipelined_requests_are_answered_in_their_order(server):
    bodies = [b'[{"Content": "%d"}]' % i for i in range(200)]
    # More than a connection's share of the queue may be there at once: what has no place waits in the socket.
    request = b"".join(POST + JSON + b"Content-Length: %d\r\n\r\n" % len(body) + body for body in bodies)
    statuses, got, _ = server.raw(request + SECOND)
    assert statuses == [200] * 201
    places = [got.find(b'"%d"' % i) for i in range(200)]
    assert -1 not in places and places == sorted(places)
