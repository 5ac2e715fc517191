#!/usr/bin/python3
"""The pxinfo command run as a user runs it: a subprocess, its output, its
standard error and its exit status, on good and bad files. JSON output is
parsed back, not compared as text."""
import json
import os
import subprocess
import sys
import tempfile
import unittest

PXINFO = None
FAMILY = "5f0c1d2e-3a4b-4c5d-8e6f-7a8b9c0d1e2f"
BOSTON = "11111111-2222-4333-8444-555555555501"
DUBLIN = "11111111-2222-4333-8444-555555555502"


def run(*args):
    env = dict(os.environ, PXINFO_VERBOSITY="0", PXINFO_TRACE="")
    done = subprocess.run([PXINFO, *args], capture_output=True, text=True, env=env, timeout=60)
    return done.returncode, done.stdout, done.stderr


class ToolTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix="pxinfo-tool-test-")
        code, out, err = run("demo", cls.dir)
        assert code == 0, err
        cls.demo_output = out

    def path(self, name):
        return os.path.join(self.dir, name)

    def test_version_and_help(self):
        code, out, _ = run("--version")
        self.assertEqual(0, code)
        self.assertTrue(out.startswith("libquentapxinfobase" + " " * 14 + " "))
        code, out, _ = run("--help")
        self.assertEqual(0, code)
        for command in ("type", "info", "header", "order check", "order new", "packet new", "order-of",
                        "health show", "demo"):
            self.assertIn(command, out)
        self.assertIn("Exit status", out)
        code, out, _ = run("help", "order", "check")
        self.assertEqual(0, code)
        self.assertIn("usage: pxinfo order check FILE", out)
        self.assertEqual(2, run("frobnicate")[0])
        self.assertEqual(2, run("info")[0])

    def test_demo_names_files_that_exist_and_are_what_it_says(self):
        for n in (1, 2, 3):
            for suffix, kind in ((".pkt", "kvupdate"), (".ord", "shorder")):
                name = self.path("boston-%d%s" % (n, suffix))
                self.assertIn(name, self.demo_output)
                code, out, _ = run("type", name)
                self.assertEqual(0, code)
                self.assertTrue(out.startswith(name + ": " + kind + " "), out)
        self.assertTrue(os.path.exists(self.path("demo-family.health")))
        with open(self.path("log/gm_log")) as log:
            self.assertEqual(3, log.read().count(self.dir + "/boston-"))

    def test_info_as_json(self):
        code, out, _ = run("info", "--json", self.path("boston-2.pkt"))
        self.assertEqual(0, code)
        info = json.loads(out)
        self.assertEqual("update", info["packet_type"])
        self.assertEqual(7, info["major_version"])
        self.assertEqual(2, info["pkt_seq_num"])
        self.assertEqual(["dublin", "tokyo"], [t["name"] for t in info["targets"]])
        self.assertEqual([110, 40, 70], [r["start_epoch"] for r in info["references"]])
        self.assertIn(BOSTON, info["source"])

    def test_header_as_json_and_text(self):
        code, out, _ = run("header", "--json", self.path("boston-1.pkt"))
        self.assertEqual(0, code)
        header = json.loads(out)
        self.assertEqual(3, header["layout"])
        self.assertEqual(FAMILY, header["family_uuid"])
        self.assertEqual(BOSTON, header["source_replica_uuid"])
        self.assertEqual(3, len(header["replicas"]))
        code, out, _ = run("header", self.path("boston-1.pkt"))
        self.assertIn("version:         7.0 (header layout 3)", out)

    def test_packet_new_in_every_layout_and_no_overwrite(self):
        for major, layout in ((0, 0), (4, 2), (6, 3)):
            name = self.path("made-%d.pkt" % major)
            code, _, err = run("packet", "new", "--output", name, "--major", str(major), "--family", FAMILY,
                               "--source", BOSTON, "--target", DUBLIN + ":dublin", "--replica", BOSTON + ":5:9:1",
                               "--sync-type", "creation")
            self.assertEqual(0, code, err)
            header = json.loads(run("header", "--json", name)[1])
            self.assertEqual(layout, header["layout"])
            self.assertEqual(2, header["sync_type"])
            self.assertEqual(5, header["replicas"][0]["start_epoch"])
            self.assertEqual("kvcreate", run("type", name)[1].split()[1])
        code, _, err = run("packet", "new", "--output", self.path("made-0.pkt"), "--family", FAMILY, "--source", BOSTON)
        self.assertEqual(3, code)
        self.assertIn("--force", err)
        self.assertEqual(2, run("packet", "new", "--output", self.path("x.pkt"), "--family", "nonsense",
                                "--source", BOSTON)[0])

    def test_damaged_and_missing_files_give_the_library_message(self):
        with open(self.path("boston-1.pkt"), "rb") as f:
            data = bytearray(f.read())
        data[24] ^= 0x01
        damaged = self.path("damaged.pkt")
        with open(damaged, "wb") as f:
            f.write(data)
        code, out, err = run("header", damaged)
        self.assertEqual(1, code)
        self.assertIn("pxinfo_kv_pkt: error: Bad packet header checksum.  expected 0x", err)
        self.assertEqual("", out)
        code, out, _ = run("type", damaged)
        self.assertEqual(0, code)
        self.assertIn(": other ", out)
        missing = self.path("missing.pkt")
        code, _, err = run("type", missing)
        self.assertEqual(1, code)
        self.assertIn('pxinfo: error: Unable to access "%s": ' % missing, err)

    def test_order_new_check_show(self):
        name = self.path("new.ord")
        code, _, err = run("order", "new", "--output", name, "--id", "00000000-0000-4000-8000-0000000000aa",
                           "--created", "1700000000 2023-11-14", "--original-path", "/a/b",
                           "--local-path", "/c/d", "--destination", "host-a", "--destination", "host-b",
                           "--comment", "  indented comment")
        self.assertEqual(0, code, err)
        code, out, _ = run("order", "check", name)
        self.assertEqual(0, code)
        self.assertIn("2 destinations", out)
        order = json.loads(run("order", "show", "--json", name)[1])
        self.assertEqual(["host-a", "host-b"], [d["host"] for d in order["destinations"]])
        self.assertEqual(1700000000, order["creation_time"])
        self.assertEqual("2023-11-14", order["creation_string"])
        self.assertEqual(["  indented comment"], order["comment_lines"])
        self.assertIsNone(order["expiration_string"])
        self.assertEqual(3, run("order", "new", "--output", name)[0])
        self.assertEqual(2, run("order", "new", "--output", self.path("x.ord"), "--created", "5 two words")[0])
        code, _, err = run("order", "new", "--output", self.path("dup.ord"), "--destination", "h", "--destination", "h")
        self.assertEqual(1, code)
        self.assertIn("duplicate destination (h)", err)

    def test_the_sample_files_are_what_their_names_say(self):
        examples = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples")
        kinds = {"update-v7.pkt": "kvupdate", "create-v4.pkt": "kvcreate", "update-v0.pkt": "kvupdate",
                 "update-v7.ord": "shorder", "older-header.ord": "shorder", "family.health": "other"}
        for name, kind in kinds.items():
            code, out, err = run("type", os.path.join(examples, name))
            self.assertEqual(0, code, err)
            self.assertEqual(kind, out.split()[1], name)
        self.assertEqual(0, run("order", "check", os.path.join(examples, "older-header.ord"))[0])
        self.assertEqual(0, run("health", "check", os.path.join(examples, "family.health"))[0])
        layouts = {"update-v7.pkt": 3, "create-v4.pkt": 2, "update-v0.pkt": 0}
        for name, layout in layouts.items():
            self.assertEqual(layout, json.loads(run("header", "--json", os.path.join(examples, name))[1])["layout"])

    def test_order_with_a_wrong_line(self):
        name = self.path("wrong.ord")
        with open(name, "w") as f:
            f.write("# Korvane Plexion Shipping Order\n# Version 1.0\n%IDENTIFIER not-a-uuid\n")
        code, _, err = run("order", "check", name)
        self.assertEqual(1, code)
        self.assertIn('order file "%s": invalid identifier (line 3)' % name, err)
        plain = self.path("plain.txt")
        with open(plain, "w") as f:
            f.write("hello\n")
        code, _, err = run("order", "check", plain)
        self.assertEqual(1, code)
        self.assertIn("is not a shipping order", err)

    def test_order_of_sorts_packets_for_import(self):
        names = [self.path("boston-%d.pkt" % n) for n in (3, 1, 2)]
        code, out, _ = run("order-of", *names)
        self.assertEqual(0, code)
        self.assertEqual(sorted(names), out.split())

    def test_health_show_and_check(self):
        health = self.path("demo-family.health")
        code, out, _ = run("health", "show", "--json", health)
        self.assertEqual(0, code)
        records = json.loads(out)
        self.assertEqual(["boston", "dublin", "tokyo"], [r["name"] for r in records["sync"]["replicas"]])
        self.assertEqual("failed", records["sync"]["replicas"][1]["status_value"])
        self.assertEqual([130, 40, 70], records["epoch"]["replicas"][0]["epochs"])
        self.assertEqual(0, run("health", "check", health)[0])
        with open(health, "rb") as f:
            data = f.read()
        cut = self.path("cut.health")
        with open(cut, "wb") as f:
            f.write(data[: len(data) // 2])
        code, _, err = run("health", "check", cut)
        self.assertEqual(1, code)
        self.assertIn("no good health file", err)


if __name__ == "__main__":
    PXINFO = sys.argv.pop(1)
    unittest.main(verbosity=1)
