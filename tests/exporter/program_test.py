#!/usr/bin/env python3
"""The program pciinfo-exporter: its options, its configuration, its signals."""

import base64
import json
import os
import re
import signal
import ssl
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
import badserver  # noqa: E402
import fleet  # noqa: E402
import monitoring  # noqa: E402
import wbem  # noqa: E402

GOOD = "modules:\n  default: {scheme: http}\n"
BAD = "modules:\n  default: {scheme: htp}\n"


def run(*arguments):
    done = subprocess.run([os.environ["PCIINFO_EXPORTER"], *arguments], capture_output=True, text=True,
                          timeout=wbem.TIME_LIMIT, check=False)
    return done.returncode, done.stdout, done.stderr


class Program(unittest.TestCase):
    def setUp(self):
        self.root = self.enterContext(tempfile.TemporaryDirectory())
        self.config = os.path.join(self.root, "config.yml")

    def write(self, text):
        with open(self.config, "w", encoding="utf-8") as file:
            file.write(text)

    def test_checks_its_configuration(self):
        self.write(GOOD)
        self.assertEqual(run("--check-config", "--config", self.config),
                         (0, "", f"{self.config}: nothing is wrong, modules: 1\n"))
        self.write(BAD)
        self.assertEqual(run("--check-config", "--config", self.config),
                         (1, "", f"pciinfo-exporter: {self.config}:2: scheme has to be http or https\n"))
        self.assertEqual(run("--config", "/no/such")[0], 1)

    def test_checks_a_configuration_whose_credentials_only_the_service_has(self):
        secret = "/run/credentials/pciinfo-exporter.service/no-such-netrc"
        self.write(f"modules:\n  default:\n    netrc_file: {secret}\n")
        missing = f"{self.config}:3: netrc_file: {secret} No such file or directory"
        self.assertEqual(run("--check-config", "--config", self.config),
                         (0, "", f"{missing}; it has to be there when the service starts\n"
                                 f"{self.config}: nothing is wrong, modules: 1\n"))
        self.assertEqual(run("--config", self.config), (1, "", f"pciinfo-exporter: {missing}\n"))
        self.write("modules:\n  default:\n    netrc_file: /run/no-such-netrc\n")
        self.assertEqual(run("--check-config", "--config", self.config)[0], 1)

    def test_takes_the_configuration_that_is_shipped(self):
        shipped = os.path.join(os.environ["PCIINFO_SOURCE"], "packaging", "exporter", "config.yml")
        self.assertEqual(run("--check-config", "--config", shipped)[0], 0)

    def test_explains_itself_and_refuses_the_rest(self):
        code, out, _ = run("--help")
        self.assertEqual(code, 0)
        for option in ("--config", "--check-config", "--listen", "--host-name", "--version"):
            self.assertIn(option, out)
        self.assertRegex(run("--version")[1], r"^pciinfo-exporter \d+\.\d+\.\d+\n$")
        self.assertEqual(run("--no-such")[0], 2)
        self.write(GOOD)
        for place in ("x", ":1", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:65536"):
            code, _, err = run("--config", self.config, "--listen", place)
            self.assertEqual((code, err), (1, f"pciinfo-exporter: {place} is no ADDRESS:PORT\n"), place)

    def test_asks_reads_its_configuration_again_and_ends(self):
        self.write(GOOD)
        log = os.path.join(self.root, "log")
        command = [os.environ["PCIINFO_EXPORTER"], "--config", self.config, "--listen", "127.0.0.1:0"]

        def said(pattern):
            with open(log, encoding="utf-8") as lines:
                return re.search(pattern, lines.read())

        with wbem.serving(wbem.sample("dell-t440")) as url, monitoring.running(command, log) as process:
            place = monitoring.until("it listens", lambda: said(r"Listening on (\S+)\n"))[1]
            target = url.removeprefix("http://")
            page = monitoring.fetch(f"{place}/probe?target={target}")
            self.assertIn("\npciinfo_up 1\n", page)
            self.assertIn('\npciinfo_host_info{name="t440.example"} 1\n', page)
            self.assertIn("pciinfo-exporter", monitoring.fetch(place))

            self.write(BAD)
            process.send_signal(signal.SIGHUP)
            monitoring.until("the bad file is told of",
                             lambda: said(r":2: scheme has to be http or https; the configuration stays as it was\n"))
            self.assertIn("config_last_reload_successful 0\n", monitoring.fetch(f"{place}/metrics"))
            self.assertIn("\npciinfo_up 1\n", monitoring.fetch(f"{place}/probe?target={target}"))

            self.write("modules:\n  other: {scheme: http}\n")
            process.send_signal(signal.SIGHUP)
            monitoring.until("the good file is told of", lambda: said(r"config\.yml read, modules: 1\n"))
            self.assertIn("\npciinfo_up 1\n", monitoring.fetch(f"{place}/probe?target={target}&module=other"))

            process.terminate()
            self.assertEqual(process.wait(wbem.TIME_LIMIT), 0)

    def test_reload_that_comes_while_it_starts_is_one(self):
        os.mkfifo(self.config)
        log = os.path.join(self.root, "log")
        command = [os.environ["PCIINFO_EXPORTER"], "--config", self.config, "--listen", "127.0.0.1:0"]
        with monitoring.running(command, log) as process:
            with open(self.config, "w", encoding="utf-8") as file:  # which waits until it is read
                process.send_signal(signal.SIGHUP)
                self.assertRaises(subprocess.TimeoutExpired, process.wait, 0.3)
                file.write(GOOD)

            def said(text):
                with open(log, encoding="utf-8") as lines:
                    return text in lines.read()
            monitoring.until("it listens", lambda: said("Listening on "), limit=20)
            self.write(GOOD)
            monitoring.until("it is read a second time", lambda: said("config.yml read, modules: 1\n"), limit=20)

    def test_one_reading_without_an_answer_moves_no_function(self):
        host = fleet.make_host(self.root, 0).directory
        with open(os.path.join(host, "bmc", "faults.json"), "w", encoding="utf-8") as file:
            json.dump({"faults": [{"on": "open", "from": 4, "times": 1, "completionCode": "0xD5"}]}, file)
        config = "modules:\n  default: {scheme: http, max_age: 0s}\n"
        with wbem.serving(host) as url, monitoring.exporter(config, self.root) as place:
            def probe():
                page = monitoring.fetch(f"http://{place}/probe?target={url.removeprefix('http://')}")
                return sorted(re.findall(r"^pciinfo_(?:up|function|slot|probe_table).*", page, re.MULTILINE))

            first, second = probe(), probe()
        self.assertIn("pciinfo_probe_table_readings 4", second)
        self.assertEqual([line.replace("readings 4", "readings 3") for line in second], first)

    def test_asks_by_tls_with_credentials_as_its_modules_say(self):
        def answer(head, _):
            wanted = "Authorization: Basic " + base64.b64encode(b"operator:secret").decode()
            if wanted in head.split("\r\n"):
                return badserver.http(badserver.slots("A"))
            return badserver.http(b"", "401 Unauthorized", ['WWW-Authenticate: Basic realm="cim"'])

        authority = badserver.Certificates(self.root)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(authority.server("good", "IP:127.0.0.1"))
        netrc = os.path.join(self.root, "netrc")
        with open(netrc, "w", encoding="utf-8") as file:
            file.write("machine 127.0.0.1 login operator password secret\n")
        config = f"""
modules:
  default: {{}}
  nobody: {{ca_file: {authority.file}}}
  operator: {{ca_file: {authority.file}, netrc_file: {netrc}}}
  blind: {{insecure: true, netrc_file: {netrc}}}
"""
        with badserver.Server(badserver.answering(answer), context) as server, \
                monitoring.exporter(config, self.root) as place:
            for module, expected in (("default", 'failure_info{reason="tls"} 1'),
                                     ("nobody", 'failure_info{reason="credentials"} 1'),
                                     ("operator", "pciinfo_up 1"), ("blind", "pciinfo_up 1")):
                url = f"http://{place}/probe?target=127.0.0.1:{server.port}&module={module}"
                self.assertIn(expected, monitoring.fetch(url), module)

    def test_ends_although_a_probe_is_under_way(self):
        self.write(GOOD)
        log = os.path.join(self.root, "log")
        command = [os.environ["PCIINFO_EXPORTER"], "--config", self.config, "--listen", "127.0.0.1:0"]
        with monitoring.socket.create_server(("127.0.0.1", 0)) as silent, monitoring.running(command, log) as process:
            def listening():
                with open(log, encoding="utf-8") as lines:
                    return re.search(r"Listening on (\S+)\n", lines.read())
            place = monitoring.until("it listens", listening)[1]
            request = monitoring.urllib.request.Request(f"{place}/probe?target=127.0.0.1:{silent.getsockname()[1]}",
                                                        headers={"X-Prometheus-Scrape-Timeout-Seconds": "0.4"})
            with monitoring.urllib.request.urlopen(request, timeout=30) as response:
                page = response.read().decode()
            self.assertIn("\npciinfo_probe_pending 1\n", page)
            self.assertNotIn("pciinfo_up", page)
            process.terminate()
            self.assertEqual(process.wait(20), 0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
