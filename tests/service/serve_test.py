#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What tovkit serve answers: every path, every problem, and what openapi.json says of them.

    serve_test.py COMMAND SOURCE_FOLDER
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

import jsonschema

COMMAND, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
sys.path.append(str(SOURCE / "tests/support"))
from tovkit_server import Server, ask_on, until  # noqa: E402

LINE = {"Content": "Hello", "Font": {"FontName": "DejaVu Sans", "FontSize": 20}}
SIGNATURES = {"png": b"\x89PNG", "jpg": b"\xff\xd8\xff", "tif": b"II*\0", "webp": b"RIFF", "jp2": b"\0\0\0\x0cjP  ",
              "bmp": b"BM", "pdf": b"%PDF", "svg": b"<?xml"}
TYPES = {"png": "image/png", "jpg": "image/jpeg", "tif": "image/tiff", "webp": "image/webp", "jp2": "image/jp2",
         "bmp": "image/bmp", "pdf": "application/pdf", "svg": "image/svg+xml"}
PATH = {"path": "M0 0L10 10Q20 20 30 10A5 5 0 0 1 40 10Z", "points": [[5, 5], [100, 100]]}
OPENAPI = json.loads((SOURCE / "share/tovkit/openapi.json").read_text())


def drawn_by_command(description, *options):
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder) / "in.json"
        source.write_text(json.dumps(description))
        return subprocess.run([COMMAND, "draw", source, "-o", "-", *options], check=True, stdout=subprocess.PIPE,
                              env={**os.environ, "SOURCE_DATE_EPOCH": "0"}).stdout


def schema_of(path, part, media_type="application/json", method="post"):
    """The schema that openapi.json has for a request or an answer, with what it refers to."""
    operation = OPENAPI["paths"][path][method]
    holder = operation["requestBody"] if part == "request" else operation["responses"][part]
    if "$ref" in holder:
        holder = OPENAPI["components"]["responses"][holder["$ref"].rsplit("/", 1)[1]]
    schema = holder["content"][media_type]["schema"]
    if schema.get("$ref", "").startswith("schemas/"):
        return json.loads((SOURCE / "share/tovkit" / schema["$ref"].removeprefix("schemas/")).read_text())
    return {**schema, "components": OPENAPI["components"]}


class ServeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = Server(COMMAND, "--max-body", "1M", "--max-pixels", "1000000")
        cls.addClassCleanup(cls.server.__exit__)
        cls.png = cls.server.post("/v1/draw?size=40x20", LINE).body

    def assert_problem(self, answer, status, name, **members):
        self.assertEqual((answer.status, answer.problem), (status, name), answer.body)
        jsonschema.validate(answer.json, {**OPENAPI["components"]["schemas"]["Problem"]})
        for member, value in members.items():
            self.assertEqual(answer.json.get(member), value, answer.json)

    def test_a_page_in_every_format(self):
        for name, signature in SIGNATURES.items():
            with self.subTest(name):
                answer = self.server.post(f"/v1/draw?format={name}&size=120x40", LINE)
                self.assertEqual(answer.status, 200, answer.body)
                self.assertEqual(answer.headers["Content-Type"], TYPES[name])
                self.assertTrue(answer.body.startswith(signature), answer.body[:20])

    def test_the_bytes_are_those_of_the_command(self):
        for options in [[], ["--size", "200x50"], ["--size", "A7", "--dpi", "50", "--background", "none"],
                        ["--effort", "9"], ["--background", "#abcdef"]]:
            with self.subTest(options):
                query = "&".join(f"{name[2:]}={value.replace('#', '%23')}" for name, value in
                                 zip(options[::2], options[1::2]))
                self.assertEqual(self.server.post("/v1/draw?" + query, [LINE]).body,
                                 drawn_by_command([LINE], "--format", "png", *options))

    def test_pages(self):
        pages = [[LINE], [LINE, {"Content": "2", "DeltaY": 40}]]
        self.assertEqual(self.server.post("/v1/draw?format=pdf", pages).status, 200)
        self.assert_problem(self.server.post("/v1/draw", pages), 422, "invalid-body")
        self.assertEqual(self.server.post("/v1/draw?one-page", pages[1]).status, 200)

    def test_a_report(self):
        answer = self.server.post("/v1/describe?size=30x40", [LINE, {"Content": "\ue123", "Font": {"Fontsize": 3}}])
        self.assertEqual(answer.status, 200, answer.body)
        jsonschema.validate(answer.json, schema_of("/v1/describe", "200"))
        first, second = answer.json["lines"]
        self.assertIn("clipped", first)
        self.assertEqual((second["pointer"], second["missingCount"]), ("/1", 1))
        self.assertEqual(second["warnings"][0]["line"], 1)
        self.assertEqual(answer.json["page"], {"width": 30, "height": 40})
        self.assertEqual(len(answer.json["notes"]), 3, answer.json["notes"])

    def test_a_report_has_an_end(self):
        answer = self.server.post("/v1/describe", [{"Content": "x"}] * 1003)
        self.assertEqual((len(answer.json["lines"]), answer.json["moreLines"]), (1000, 3))

    def test_hits(self):
        answer = self.server.post("/v1/hit", {**PATH, "points": [[5, 5], [100, 100], [5, 8], [35, 5]], "fill": True})
        self.assertEqual(answer.status, 200, answer.body)
        jsonschema.validate(answer.json, schema_of("/v1/hit", "200"))
        on_line, outside, _, on_arc = answer.json["results"]
        self.assertEqual(on_line, {"hit": True, "distance": 0, "record": 1, "rays": [],
                                   "segment": {"type": "line", "points": [[0, 0], [10, 10]]}})
        self.assertEqual((outside["hit"], outside["record"], outside["segment"]), (False, None, None))
        self.assertAlmostEqual(outside["distance"], (60**2 + 90**2) ** .5, 2)
        self.assertEqual(on_arc["segment"], {"type": "arc", "points": [[30, 10], [40, 10]]})

    def test_hits_of_nothing(self):
        answer = self.server.post("/v1/hit", {"path": "", "points": [[1, 1]]})
        self.assertEqual(answer.json, {"results": [{"hit": False, "distance": None, "record": None, "segment": None,
                                                    "rays": []}], "records": 0})

    def test_a_hit_map_shows_what_the_answer_says(self):
        box = self.server.post("/v1/hit", PATH).json["map"]
        answer = self.server.post("/v1/hit?format=png&size=200", PATH)
        self.assertEqual(answer.headers["Content-Type"], "image/png")
        info = self.server.post("/v1/image/info", answer.body, "image/png").json
        self.assertEqual(info["width"], 200)
        self.assertAlmostEqual(info["width"] / info["height"],
                               (box["right"] - box["left"]) / (box["bottom"] - box["top"]), 1)
        self.assert_problem(self.server.post("/v1/hit?format=png", {"path": ""}), 422, "invalid-body")

    def test_pictures(self):
        info = self.server.post("/v1/image/info", self.png, "image/png")
        jsonschema.validate(info.json, schema_of("/v1/image/info", "200"))
        self.assertEqual((info.json["format"], info.json["width"], info.json["height"]), ("png", 40, 20))
        for name in ["png", "jpg", "tif", "webp", "jp2", "bmp"]:
            with self.subTest(name):
                answer = self.server.post(f"/v1/image?format={name}", self.png, "image/png")
                self.assertEqual((answer.status, answer.headers["Content-Type"]), (200, TYPES[name]))
                again = self.server.post("/v1/image/info", answer.body, TYPES[name]).json
                self.assertEqual((again["width"], again["height"]), (40, 20))

    def test_steps_are_taken_in_their_order(self):
        for query, size in {"crop=0,0,10,10&resize=20x30": (20, 30), "resize=20x30&crop=0,0,10,10": (10, 10),
                            "resize=50%25&filter=nearest": (20, 10), "upright&crop=0,0,4,5&crop=0,0,3,3": (3, 3),
                            "upright=false": (40, 20), "frame=1&erase=0,0,2,2&quality=5&format=jpg": (40, 20)}.items():
            with self.subTest(query):
                answer = self.server.post("/v1/image?" + query, self.png, "image/png")
                self.assertEqual(answer.status, 200, answer.body)
                info = self.server.post("/v1/image/info", answer.body, "image/png").json
                self.assertEqual((info["width"], info["height"]), size)

    def test_wrong_parameters(self):
        for path, body, queries in [
                ("/v1/draw", LINE, ["size=x", "format=gif", "format=", "dpi=0", "dpi=1e3", "background=red", "effort=10",
                                    "effort=5&format=pdf", "one-page=2", "size=1x1&size=1x1", "over=a.png", "out=x",
                                    "Size=1x1", "=", "a"]),
                ("/v1/hit", PATH, ["size=5", "format=pdf", "format=png&size=0", "format=png&size=2049", "points=1"]),
                ("/v1/describe", LINE, ["dpi=96", "format=png"])]:
            for query in queries:
                with self.subTest(path + "?" + query):
                    self.assert_problem(self.server.post(f"{path}?{query}", body), 400, "bad-parameter")
        for query in ["crop=1,2,3", "crop=1,2,3,x", "crop=", "resize=0x0", "filter=nearest", "filter=best&resize=5x5",
                      "quality=0", "frame=0", "image=x"]:
            with self.subTest(query):
                self.assert_problem(self.server.post("/v1/image?" + query, self.png, "image/png"), 400,
                                    "bad-parameter", parameter=query.split("=")[0] if "&" not in query else "filter")
        for query in ["size=%", "size=%0", "size=%zz", "size=%00", "size=%ff", "a%0Ab=1"]:
            with self.subTest(query):
                self.assert_problem(self.server.post("/v1/draw?" + query, LINE), 400, "bad-parameter")

    def test_wrong_bodies_tell_the_place(self):
        for body, line, column, pointer in [(b'[\n {"Content": "x" "y"}]', 2, 18, "/0/Content"), (b"", 1, 1, ""),
                                            (b'{"Content": ""}', 1, 13, "/Content"), (b'[{"Content":"x"},\n[]]', 2, 1, "/1"),
                                            (b'{"Content":\n"x"}\0, 5', 2, 5, "")]:
            with self.subTest(body):
                answer = self.server.post("/v1/draw", body)
                self.assertEqual((answer.status, answer.problem), (422, "invalid-body"))
                self.assertEqual((answer.json.get("line"), answer.json.get("column")), (line, column), answer.json)
                self.assertNotIn("body:", answer.json["detail"])
        for body, pointer in [({}, "/path"), ({"path": 5}, "/path"), ({"path": "M0 0 L", "points": []}, "/path"),
                              ({"path": "M0 0", "points": [[1]]}, "/points"), ({"path": "", "file": "x"}, "/file"),
                              ({"path": "", "points": [[0, 0]] * 10001}, "/points"), ([], "")]:
            with self.subTest(body if len(str(body)) < 99 else "many"):
                answer = self.server.post("/v1/hit", body)
                self.assert_problem(answer, 422, "invalid-body", line=1, pointer=pointer)

    def test_a_buffer_that_is_filled_up_is_no_mistake(self):
        self.assertEqual(self.server.post("/v1/draw", b'{"Content": "x"}\0\0').status, 200)

    def test_bodies_name_no_files(self):
        for member in ["over", "out", "file", "image", "draw"]:
            self.assert_problem(self.server.post("/v1/hit", {"path": "", member: "/etc/passwd"}), 422, "invalid-body",
                                pointer="/" + member)

    def test_broken_pictures(self):
        for body in [b"", b"GIF89a", self.png[:50], b"\0" * 100]:
            self.assert_problem(self.server.post("/v1/image", body, "image/png"), 422, "invalid-body")

    def test_limits(self):
        self.assert_problem(self.server.post("/v1/draw", b" " * (1 << 20) + b"{}"), 413, "body-too-large")
        self.assert_problem(self.server.post("/v1/draw?size=1001x1000", LINE), 413, "too-many-pixels")
        self.assert_problem(self.server.post("/v1/image?resize=1001x1000", self.png, "image/png"), 413,
                            "too-many-pixels")

    def test_types_and_methods(self):
        for type in ["text/plain", "application/x-www-form-urlencoded", "multipart/form-data", "", "application/jsonx",
                     "image/png", "application/octet-stream"]:
            self.assert_problem(self.server.post("/v1/draw", LINE, type), 415, "unsupported-type")
        self.assertEqual(self.server.post("/v1/draw", LINE, "Application/JSON; charset=utf-8").status, 200)
        for type in ["application/json", "image/svg+xml", "application/octet-stream"]:
            self.assert_problem(self.server.post("/v1/image", self.png, type), 415, "unsupported-type")
        self.assert_problem(self.server.ask("GET", "/v1/none"), 404, "not-found")
        for method, path in [("GET", "/v1/draw"), ("PUT", "/v1/draw"), ("POST", "/healthz"), ("DELETE", "/"),
                             ("TRACE", "/metrics"), ("BREW", "/openapi.json")]:
            answer = self.server.ask(method, path)
            self.assert_problem(answer, 405, "method-not-allowed")
            self.assertIn("OPTIONS", answer.headers["Allow"])
        for path, allowed in [("/v1/hit", "POST, OPTIONS"), ("/", "GET, HEAD, OPTIONS"), ("*", "GET, HEAD, OPTIONS")]:
            answer = self.server.ask("OPTIONS", path)
            self.assertEqual((answer.status, answer.headers["Allow"], answer.body), (204, allowed, b""))

    def test_what_is_accepted(self):
        for accept, status in [("*/*", 200), ("image/*", 200), ("text/html, image/png;q=0.5", 200), ("text/html", 406),
                               ("image/png;q=0", 406), ("", 200)]:
            self.assertEqual(self.server.post("/v1/draw", LINE, Accept=accept).status, status, accept)

    def test_heads_and_bodies_of_documents(self):
        for path in ["/", "/healthz", "/readyz", "/metrics", "/openapi.json", "/schemas/line.schema.json",
                     "/schemas/job.schema.json"]:
            with self.subTest(path):
                whole, head = self.server.ask("GET", path), self.server.ask("HEAD", path)
                self.assertEqual((whole.status, head.status, head.body), (200, 200, b""))
                self.assertEqual(head.headers["Content-Type"], whole.headers["Content-Type"])
                if path != "/metrics":
                    self.assertEqual(head.headers["Content-Length"], str(len(whole.body)))
                if tag := whole.headers["ETag"]:
                    self.assertEqual(self.server.ask("GET", path, If_None_Match=tag).status, 304)
        for name in ["openapi.json", "line.schema.json", "job.schema.json"]:
            path = "/openapi.json" if name == "openapi.json" else "/schemas/" + name
            self.assertEqual(self.server.ask("GET", path).body.decode(), (SOURCE / "share/tovkit" / name).read_text())

    def test_security_headers_are_everywhere(self):
        for answer in [self.server.ask("GET", "/"), self.server.ask("GET", "/none"), self.server.post("/v1/draw", LINE),
                       self.server.post("/v1/draw", b"x"), self.server.ask("GET", "/", Host="evil.example")]:
            for name, value in {"X-Content-Type-Options": "nosniff", "Referrer-Policy": "no-referrer",
                                "Cross-Origin-Resource-Policy": "same-origin"}.items():
                self.assertEqual(answer.headers[name], value)
            self.assertIn("default-src 'none'", answer.headers["Content-Security-Policy"])
            self.assertIn("frame-ancestors 'none'", answer.headers["Content-Security-Policy"])
            self.assertRegex(answer.headers["Request-Id"], r"^[0-9a-f]{8}-\d+$")
            self.assertNotIn("Access-Control-Allow-Origin", answer.headers)

    def test_tags(self):
        first = self.server.post("/v1/draw?size=61x20", LINE)
        self.assertEqual(first.headers["X-Cache"], "miss")
        self.assertEqual(first.headers["Cache-Control"], "private, no-cache")
        again = self.server.post("/v1/draw?size=61x20", LINE)
        self.assertEqual((again.headers["X-Cache"], again.headers["ETag"], again.body),
                         ("hit", first.headers["ETag"], first.body))
        jobs = self.server.metric('tovkit_jobs_total{kind="draw",state="done"}')
        for tag in [first.headers["ETag"], '"x", W/' + first.headers["ETag"]]:
            answer = self.server.post("/v1/draw?size=61x20", LINE, If_None_Match=tag)
            self.assertEqual((answer.status, answer.body, answer.headers["ETag"]), (304, b"", first.headers["ETag"]))
        self.assertEqual(self.server.metric('tovkit_jobs_total{kind="draw",state="done"}'), jobs)
        self.assertEqual(self.server.post("/v1/draw?size=61x20", LINE, If_None_Match='"x"').status, 200)
        for other in ["/v1/draw?size=62x20", "/v1/draw?size=61x20&format=bmp"]:
            self.assertNotEqual(self.server.post(other, LINE).headers["ETag"], first.headers["ETag"])

    def copy_library(self, name, folder):
        """That of the server, to where another one finds it first: the loader asks for the major version alone."""
        maps = pathlib.Path(f"/proc/{self.server.process.pid}/maps").read_text()
        library = pathlib.Path(re.search(rf"\s(/\S*/{name}\.so\S*)$", maps, re.MULTILINE).group(1))
        shutil.copy(library, pathlib.Path(folder) / re.match(r".*?\.so\.\d+", library.name).group())

    def test_a_tag_depends_on_the_libraries(self):
        tag = self.server.post("/v1/draw", LINE).headers["ETag"]
        for name in ["libfreetype", "libfontconfig", "libpango-1.0", "libcairo", "libharfbuzz", "libpng16"]:
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                self.copy_library(name, folder)
                with Server(COMMAND, env={"LD_LIBRARY_PATH": folder}) as server:
                    self.assertNotEqual(server.post("/v1/draw", LINE).headers["ETag"], tag)
        with Server(COMMAND) as server:
            self.assertEqual(server.post("/v1/draw", LINE).headers["ETag"], tag)

    def test_a_tag_depends_on_what_is_in_our_own_libraries_not_on_where_they_are(self):
        tag = self.server.post("/v1/draw", LINE).headers["ETag"]
        with tempfile.TemporaryDirectory() as folder:
            for name in ["libtovkit", "libtovmx"]:
                self.copy_library(name, folder)
            # Where the worker is looked for, beside the library.
            (pathlib.Path(folder) / "libexec").symlink_to(pathlib.Path(COMMAND).resolve().parent.parent / "libexec")
            with Server(COMMAND, env={"LD_LIBRARY_PATH": folder}) as server:
                self.assertIn(folder, pathlib.Path(f"/proc/{server.process.pid}/maps").read_text())
                self.assertEqual(server.post("/v1/draw", LINE).headers["ETag"], tag)

    def test_hosts(self):
        for host in ["localhost", "LOCALHOST:1", "127.0.0.1", "127.0.0.1:80", "[::1]:5"]:
            self.assertEqual(self.server.ask("GET", "/healthz", Host=host).status, 200, host)
        for host in ["evil.example", "evil.example:80", "localhost.evil.example", "127.0.0.1.evil.example", "10.0.0.1",
                     "[::2]"]:
            self.assert_problem(self.server.ask("GET", "/healthz", Host=host), 421, "wrong-host")

    def test_origins(self):
        port = self.server.port
        for origin in ["http://evil.example", "null", f"http://localhost:{port + 1}", "http://localhost"]:
            self.assert_problem(self.server.post("/v1/draw", LINE, Host=f"localhost:{port}", Origin=origin), 403,
                                "foreign-origin")
        for origin in [f"http://localhost:{port}", f"https://localhost:{port}"]:
            self.assertEqual(self.server.post("/v1/draw", LINE, Host=f"localhost:{port}", Origin=origin).status, 200)

    def test_metrics_are_well_formed(self):
        self.server.post("/v1/draw", b"{")
        text = self.server.ask("GET", "/metrics").body.decode()
        names = set()
        for line in text.splitlines():
            if line.startswith("#"):
                self.assertRegex(line, r"^# (HELP [a-z_]+ .+|TYPE [a-z_]+ (counter|gauge|histogram))$")
                names.add(line.split()[2])
            else:
                self.assertRegex(line, r'^[a-z_]+(\{[a-z]+="[^"]*"(,[a-z]+="[^"]*")*\})? [0-9.e+-]+$')
                name = re.sub(r"_(bucket|sum|count)$", "", re.split(r"[{ ]", line)[0])
                self.assertIn(name, names)
        for name in ["tovkit_http_requests_total", "tovkit_jobs_total", "tovkit_job_seconds", "tovkit_queue_jobs",
                     "tovkit_workers", "tovkit_worker_restarts_total", "process_open_fds"]:
            self.assertIn(name, names)
        self.assertRegex(text, r'tovkit_jobs_total\{kind="draw",state="failed"\} [1-9]')
        self.assertRegex(text, r'tovkit_http_requests_total\{endpoint="/v1/draw",code="422"\} [1-9]')
        counts = [int(count) for count in re.findall(r'seconds_bucket\{kind="draw".*\} (\d+)', text)]
        self.assertEqual(counts, sorted(counts))

    def test_descriptors_are_counted(self):
        with Server(COMMAND) as server, server.session() as connection:
            def told_and_there():
                text = ask_on(connection, "GET", "/metrics").body.decode()
                return (int(re.search(r"^process_open_fds (\d+)$", text, re.MULTILINE)[1]),
                        len(os.listdir(f"/proc/{server.process.pid}/fd")))
            # A worker that begins has descriptors for a moment.
            until(lambda: len(set(told_and_there())) == 1)
            self.assertGreater(told_and_there()[0], 3)

    def test_the_process_is_measured(self):
        pid = self.server.process.pid
        text = self.server.ask("GET", "/metrics").body.decode()
        told = {name: float(value) for name, value in re.findall(r"^(process_[a-z_]+) (\S+)$", text, re.MULTILINE)}
        self.assertEqual(sorted(told), ["process_cpu_seconds_total", "process_max_fds", "process_open_fds",
                                        "process_resident_memory_bytes", "process_start_time_seconds"])
        limits = pathlib.Path(f"/proc/{pid}/limits").read_text()
        self.assertEqual(told["process_max_fds"], int(re.search(r"^Max open files +(\d+)", limits, re.MULTILINE)[1]))
        ticks = int(pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[19])
        age = float(pathlib.Path("/proc/uptime").read_text().split()[0]) - ticks / os.sysconf("SC_CLK_TCK")
        self.assertAlmostEqual(told["process_start_time_seconds"], time.time() - age, delta=10)
        pages = int(pathlib.Path(f"/proc/{pid}/statm").read_text().split()[1])
        self.assertAlmostEqual(told["process_resident_memory_bytes"] / os.sysconf("SC_PAGE_SIZE") / pages, 1, delta=0.5)
        self.assertGreater(told["process_cpu_seconds_total"], 0)
        self.assertLess(told["process_cpu_seconds_total"], time.time() - told["process_start_time_seconds"] + 60)

    def test_one_connection_many_requests(self):
        with self.server.session() as connection:
            for _ in range(3):
                self.assertEqual(ask_on(connection, "GET", "/healthz").body, b"ok\n")
                self.assertEqual(ask_on(connection, "POST", "/v1/draw", b"{", Content_Type="application/json").status, 422)

    def test_openapi_knows_every_path_and_status(self):
        for path, operations in OPENAPI["paths"].items():
            for method, operation in operations.items():
                with self.subTest(path):
                    answer = self.server.ask(method.upper(), path, b"" if method == "post" else None)
                    self.assertIn(str(answer.status), operation["responses"])
                    self.assertNotIn(answer.status, (404, 405))
                for parameter in operation.get("parameters", []):
                    extra = "format=png&" if path == "/v1/hit" else ""
                    answer = self.server.ask(method.upper(), f"{path}?{extra}{parameter['name']}=%20", b"x",
                                             Content_Type="image/png" if "image" in path else "application/json")
                    self.assertNotIn("unknown parameter", answer.body.decode(), (path, parameter["name"]))
        for body in [LINE, [LINE], [[LINE]]]:
            jsonschema.validate(body, schema_of("/v1/draw", "request"))
        jsonschema.validate(PATH, schema_of("/v1/hit", "request"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
