#!/usr/bin/python3
"""The pxinfo command run as a user runs it: a subprocess, its output, its
standard error and its exit status, on good, damaged and odd files. JSON
output is parsed back, not compared as text."""
import json
import os
import random
import re
import resource
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import threading
import unittest

PXINFO = None
HERE = os.path.dirname(os.path.abspath(__file__))
TOOLS = os.path.join(HERE, "..", "..", "tools")
EXAMPLES = os.path.join(HERE, "..", "..", "examples")
FAMILY = "5f0c1d2e-3a4b-4c5d-8e6f-7a8b9c0d1e2f"
BOSTON = "11111111-2222-4333-8444-555555555501"
DUBLIN = "11111111-2222-4333-8444-555555555502"
ORDER_HEAD = "# Korvane Plexion Shipping Order\n# Version 1.0\n"


def run(*args, stdin=None, stdout=subprocess.PIPE, umask=0o022, file_size=resource.RLIM_INFINITY):
    def limits():
        os.umask(umask)
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)  # a write past the limit fails with EFBIG instead
        resource.setrlimit(resource.RLIMIT_FSIZE, (file_size, file_size))

    env = dict(os.environ, PXINFO_VERBOSITY="0", PXINFO_TRACE="")
    done = subprocess.run([PXINFO, *args], stdin=stdin, stdout=stdout, stderr=subprocess.PIPE, env=env, timeout=60,
                          preexec_fn=limits)
    out = done.stdout.decode("utf-8", "surrogateescape") if done.stdout is not None else ""
    return done.returncode, out, done.stderr.decode("utf-8", "replace")


def run_json(*args, status=0):
    code, out, err = run(*args, "--json")
    assert code == status and (status or not err), err
    return json.loads(out.encode("utf-8", "surrogateescape").decode("utf-8"))


def keys_of(value):
    if isinstance(value, dict):
        return set(value) | set().union(*map(keys_of, value.values()))
    if isinstance(value, list):
        return set().union(set(), *map(keys_of, value))
    return set()


def scalars_of(value):
    if isinstance(value, dict):
        value = list(value.values())
    if isinstance(value, list):
        return [s for v in value for s in scalars_of(v)]
    return [] if value is None or isinstance(value, bool) else [str(value)]


class ToolTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix="pxinfo-tool-test-")
        code, out, err = run("demo", cls.dir)
        assert code == 0, err
        cls.demo_output = out
        cls.data = {name: cls.read(name) for name in ("boston-1.pkt", "demo-family.health")}

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.dir)

    @classmethod
    def path(cls, *names):
        return os.path.join(cls.dir, *names)

    @classmethod
    def read(cls, *names):
        with open(cls.path(*names), "rb") as f:
            return f.read()

    def write(self, name, data):
        with open(self.path(name), "wb" if isinstance(data, bytes) else "w") as f:
            f.write(data)
        return self.path(name)

    def damaged_files(self):
        """(file, kind, the library's reason) of files that look like a packet,
        an order or a health file but do not read as one."""
        pkt, health = self.data["boston-1.pkt"], self.data["demo-family.health"]
        return [
            (self.write("flipped.pkt", pkt[:24] + bytes([pkt[24] ^ 1]) + pkt[25:]), "packet",
             "Bad packet header checksum.  expected 0x"),
            (self.write("truncated.pkt", pkt[:40]), "packet", "Error decoding xdr information (sync header)"),
            (self.write("magic.pkt", b"\x14\x82\x35\x17" + pkt[4:]), "packet", "Bad magic number on packet."),
            (self.write("version.pkt", pkt[:4] + b"\0\0\0\x08" + pkt[8:]), "packet", "unknown packet version 8"),
            (self.write("malformed.ord", ORDER_HEAD + "%IDENTIFIER not-a-uuid\n"), "shorder",
             "invalid identifier (line 3)"),
            (self.write("one-line.ord", ORDER_HEAD[:33]), "shorder", "invalid shipping order"),
            (self.write("truncated.health", health[: len(health) // 2]), "health",
             "cannot decode its sync status record: the file ends inside it"),
            (self.write("trailing.health", health + b"\0"), "health", "data follows its two records"),
            (self.write("timestamp.health", health[:3] + bytes([health[3] ^ 1]) + health[4:]), "health",
             "inconsistent records: inconsistent timestamps on epoch and sync structs"),
        ]

    def test_damaged_files_are_diagnosed_by_type_info_and_verify(self):
        for name, kind, reason in self.damaged_files():
            for command in ("type", "info"):
                code, out, err = run(command, name)
                self.assertEqual((1, ""), (code, out), (command, name))
                self.assertIn("pxinfo: %s: damaged %s: " % (name, kind), err)
                self.assertIn(reason, err)
            code, out, _ = run("verify", name)
            self.assertEqual(1, code)
            self.assertTrue(out.startswith("%s: damaged %s: " % (name, kind)), out)
            self.assertIn(reason, out)
            entry = run("verify", "--json", name)[1]
            self.assertEqual(("damaged", kind), tuple(json.loads(entry)["files"][0][k] for k in ("result", "kind")))

    def test_verify_a_spool(self):
        spool = self.path("spool")
        os.makedirs(self.path("spool", "deeper"))
        for name in ("boston-1.pkt", "boston-1.ord", "demo-family.health"):
            shutil.copy(self.path(name), self.path("spool", name))
        code, out, _ = run("verify", spool)
        self.assertEqual(0, code)
        self.assertEqual("3 files, 3 ok, 0 damaged, 0 unknown", out.splitlines()[-1])
        self.assertIn(spool + "/boston-1.ord: ok shorder\n", out)
        self.write("spool/deeper/notes.txt", "hello\n")
        self.assertEqual(0, run("verify", spool)[0])
        code, out, _ = run("verify", "-r", spool, self.path("missing"))
        self.assertEqual(1, code)
        self.assertIn(spool + "/deeper/notes.txt: unknown\n", out)
        self.assertIn('unreadable: Unable to access "%s": ' % self.path("missing"), out)
        counts = run_json("verify", "--recursive", spool, status=1)["count"]
        self.assertEqual({"files": 4, "ok": 3, "damaged": 0, "unknown": 1}, counts)

    def test_text_and_json_carry_the_same_fields(self):
        self.write("blank-name.pkt", self.data["boston-1.pkt"])
        self.write("failed.ord", ORDER_HEAD + "%DESTINATIONS\n h1\n h2\n%FAILED-ATTEMPTS\n C 5 day-5 r h1\n")
        order = run_json("order", "show", self.path("failed.ord"))
        self.assertEqual(([True, False], False), ([d["failed"] for d in order["destinations"]], order["has_return_route"]))
        cases = [("order", "show", "failed.ord"), ("info", "boston-2.pkt"), ("info", "boston-2.ord"), ("header", "boston-1.pkt"),
                 ("order", "show", "boston-1.ord"), ("order", "show", os.path.join(EXAMPLES, "older-header.ord")),
                 ("health", "show", "demo-family.health")]
        for args in cases:
            args = args[:-1] + (self.path(args[-1]),)
            code, text, _ = run(*args)
            self.assertEqual(0, code)
            text_keys = set(re.findall(r"^\s*(?:- )?([a-z_]+):", text, re.M))
            self.assertEqual(keys_of(run_json(*args)), text_keys, args)
        one_line_views = [("type", "boston-1.pkt", "boston-1.ord"), ("order-of", "boston-2.pkt", "boston-1.pkt"),
                          ("order", "check", "boston-1.ord"), ("health", "check", "demo-family.health"),
                          ("verify", "blank-name.pkt", "demo-family.health")]
        for args in one_line_views:
            args = tuple(a if a.isalpha() or a == "order-of" else self.path(a) for a in args)
            text = run(*args)[1]
            for value in scalars_of(run_json(*args)):
                self.assertIn(value, text, args)

    def test_strings_survive_json_and_are_escaped_in_text(self):
        name = self.path("zurich.pkt")
        self.assertEqual(0, run("packet", "new", "--output", name, "--family", FAMILY, "--source", BOSTON,
                                "--target", DUBLIN + ":zürich \"quoted\" \\")[0])
        self.assertEqual("zürich \"quoted\" \\", run_json("info", name)["targets"][0]["name"])
        self.assertIn("name: zürich \"quoted\" \\\\\n", run("info", name)[1])
        odd = os.path.join(self.dir, "odd")
        os.mkdir(odd)
        rng = random.Random(19)
        pieces = [b"a", b"\xc3\xa9", b"\xe2\x82\xac", b"\xf0\x9f\x98\x80", b"\xff", b"\x80", b"\xe0\x80", b"\xed\xa0",
                  b"\xf0\x90\x80", b"\xf4\x90", b"\xc0\xaf", b"\t", b"\n", b"\x1b", b"\"", b"\\", b"\x7f"]
        names = {b"".join(rng.choice(pieces) for _ in range(rng.randint(1, 5))) for _ in range(60)} | {b"a\tb"}
        for raw in names:
            open(os.path.join(os.fsencode(odd), raw), "wb").close()
        shown = {os.path.basename(f["file"]) for f in run_json("verify", odd, status=1)["files"]}
        self.assertEqual({raw.decode("utf-8", "replace") for raw in names}, shown)
        text = run("verify", odd)[1]
        self.assertIn(odd + "/a\\x09b: unknown\n", text)
        self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\x7f]")

    def test_command_line(self):
        pkt = self.path("boston-1.pkt")
        shutil.copy(pkt, self.path("-dash.pkt"))
        cases = [(("info", "--jsn", pkt), 2, "unknown option '--jsn'"),
                 (("type", "-x", pkt), 2, "unknown option '-x'"),
                 (("--frob",), 2, "unknown option '--frob'"),
                 (("-v",), 2, "unknown option '-v'"),
                 (("frobnicate",), 2, "unknown command 'frobnicate'"),
                 (("order",), 2, "order check"),
                 (("order", "frob"), 2, "order new"),
                 (("info",), 2, "give one or more files"),
                 (("info", "--json=yes", pkt), 2, "--json takes no value"),
                 (("packet", "new", "--output"), 2, "--output needs a value"),
                 (("order", "new", "--output", "a", "--output", "b"), 2, "--output is given twice"),
                 (("help", "frob"), 2, "no command 'frob'"),
                 (("type", "--", self.path("-dash.pkt")), 0, ""),
                 (("type", "--json", pkt, pkt), 0, "")]
        for args, status, message in cases:
            code, _, err = run(*args)
            self.assertEqual(status, code, args)
            self.assertIn(message, err, args)
        for group, commands in (("order", "check show new"), ("health", "show check"), ("packet", "new")):
            code, out, _ = run("help", group)
            self.assertEqual(0, code)
            self.assertEqual(["%s %s" % (group, c) for c in commands.split()], re.findall("^  (%s \\w+)" % group, out, re.M))
        with open(pkt, "rb") as stdin:
            code, out, _ = run("info", "--json", "-", stdin=stdin)
        self.assertEqual(("(standard input)", 1), (json.loads(out)["file"], json.loads(out)["pkt_seq_num"]))
        with open(self.write("-.pkt", b"\x14\x82\x35\x16"), "rb") as stdin:
            code, _, err = run("type", "-", stdin=stdin)
        self.assertEqual((1, "pxinfo: (standard input): damaged packet: "), (code, err[:42]))
        code, out, _ = run("--version")
        self.assertRegex(out, r"^pxinfo \S+\nlibquentapxinfobase {14} \S+ \(")

    def test_order_new_refuses_what_the_reader_would_not_give_back(self):
        refused = [("--destination", "two words"), ("--comment", "%DESTINATIONS"), ("--comment", '  "%COMMENT" x'),
                   ("--notify", "%COMMENT"), ("--destination", "h" * 64), ("--original-path", 'a"b'),
                   ("--local-path", "a\nb"), ("--comment", 'unpaired "quote'), ("--comment", "x" * 1023),
                   ("--storage-class", '"quoted"'), ("--created", "5 two words"), ("--expires", "x"),
                   ("--destination", "h", "--destination", "h"), ("--notify", "")]
        for args in refused:
            code, _, err = run("order", "new", "--output", self.path("refused.ord"), *args)
            self.assertEqual(2, code, (args, err))
            self.assertIn(args[0], err)
            self.assertFalse(os.path.exists(self.path("refused.ord")))
        accepted = {"--destination": ["h" * 63, "%OTHER", "a\"b"], "--comment": ["", "  indented", "x" * 1022],
                    "--notify": ["ops@example.net"], "--original-path": ["with blanks"]}
        args = [a for option, values in accepted.items() for v in values for a in (option, v)]
        name = self.path("accepted.ord")
        code, _, err = run("order", "new", "--output", name, "--created", "7 day-one", *args)
        self.assertEqual(0, code, err)
        order = run_json("order", "show", name)
        self.assertEqual(accepted["--destination"], [d["host"] for d in order["destinations"]])
        self.assertEqual(accepted["--comment"], order["comment_lines"])
        self.assertEqual((7, "day-one", "with blanks"), (order["creation_time"], order["creation_string"],
                                                          order["original_data_path"]))
        self.assertEqual(3, run("order", "new", "--output", name)[0])
        self.assertEqual(0, run("order", "new", "--output", name, "--force")[0])

    def test_packet_new_in_every_layout_refusing_what_it_cannot_carry(self):
        base = ["--family", FAMILY, "--source", BOSTON]
        for major, layout in ((0, 0), (4, 2), (6, 3)):
            name = self.path("made-%d.pkt" % major)
            code, _, err = run("packet", "new", "--output", name, "--major", str(major), *base, "--target",
                               DUBLIN + ":dublin", "--replica", BOSTON + ":5", "--sync-type", "creation")
            self.assertEqual(0, code, err)
            header = run_json("header", name)
            replica = header["replicas"][0]
            self.assertEqual((layout, 2, 5, 5 if major >= 6 else 0),
                             (header["layout"], header["sync_type"], replica["start_epoch"], replica["end_epoch"]))
            self.assertEqual("kvcreate", run("type", name)[1].split()[1])
        refused = [("--major", "8"), ("--major", "4", "--seq", "2"), ("--major", "5", "--log-uuid", FAMILY),
                   ("--major", "4", "--replica", BOSTON + ":1:2"), ("--major", "0", "--aux-string", "x"),
                   ("--replica", BOSTON), ("--replica", BOSTON + ":1:2:x"), ("--sync-type", "other"),
                   ("--family", "nonsense")]
        for args in refused:
            self.assertEqual(2, run("packet", "new", "--output", self.path("refused.pkt"), *base, *args)[0], args)
        self.assertEqual(2, run("packet", "new", "--output", self.path("refused.pkt"), *base[:2])[0])
        exists = "pxinfo: %s: exists; give --force to replace it\n" % self.path("made-0.pkt")
        self.assertEqual((3, exists), run("packet", "new", "--output", self.path("made-0.pkt"), *base)[::2])
        self.assertEqual(3, run("demo", self.dir)[0])

    def test_a_file_is_replaced_whole_or_not_at_all_keeping_its_mode(self):
        os.mkdir(self.path("keep"))
        shutil.copy(self.path("boston-1.pkt"), self.path("keep", "a.pkt"))
        shutil.copy(self.path("boston-1.ord"), self.path("keep", "a.ord"))
        os.chmod(self.path("keep", "a.pkt"), 0o604)
        kept = lambda: {name: self.read("keep", name) for name in os.listdir(self.path("keep"))}
        before = kept()
        packet = ("packet", "new", "--family", FAMILY, "--source", BOSTON, "--aux-string", "x" * 300, "--output")
        order = ("order", "new", *["--destination=h%d" % n for n in range(50)], "--output")
        for command, name, force in ((packet, "a.pkt", ("--force",)), (order, "a.ord", ("--force",)), (packet, "new.pkt", ())):
            code, _, err = run(*command, self.path("keep", name), *force, file_size=100)
            self.assertEqual((1, True), (code, '"%s"' % self.path("keep", name) in err), err)
        self.assertEqual(before, kept())  # the old files intact, no new or temporary file
        for name, umask, mode in (("a.pkt", 0o077, 0o604), ("new.pkt", 0o027, 0o640)):
            self.assertEqual(0, run(*packet, self.path("keep", name), "--force", umask=umask)[0])
            self.assertEqual(mode, stat.S_IMODE(os.stat(self.path("keep", name)).st_mode))

    def test_a_reader_never_sees_a_half_written_file(self):
        name = self.path("big.ord")
        versions = [("order", "new", "--force", "--output", name, "--created", "7 day-one",
                     *["--destination=v%d-host%d.example.net" % (v, n) for n in range(300)]) for v in (1, 2)]
        whole, seen, done = set(), set(), threading.Event()
        for version in versions:
            self.assertEqual(0, run(*version)[0])
            whole.add(self.read("big.ord"))

        def reader():
            while not done.is_set():
                seen.add(self.read("big.ord"))

        polling = threading.Thread(target=reader)
        polling.start()
        for n in range(10):
            run(*versions[n % 2])
        done.set()
        polling.join()
        self.assertEqual(whole, seen, sorted(len(content) for content in seen - whole))

    def test_a_failed_write_to_standard_output_is_an_error(self):
        for args in (("info", "boston-1.pkt"), ("header", "boston-1.pkt"), ("type", "boston-1.ord"),
                     ("order", "show", "boston-1.ord"), ("health", "show", "demo-family.health"),
                     ("verify", "--json", "boston-2.pkt"), ("--help",), ("--version",), ("demo",)):
            args = tuple(self.path(a) if "." in a else a for a in args)
            with open("/dev/full", "wb") as full:
                code, _, err = run(*args, stdout=full)
            self.assertEqual(1, code, args)
            self.assertIn("pxinfo: cannot write to standard output: No space left on device", err)

    def test_manual_and_completion_follow_the_command_table(self):
        overview = run("--help")[1]
        listed = overview[overview.index("Commands:"):overview.index("Run 'pxinfo help")]
        commands = re.findall(r"^  (\S+(?: [a-z]+)?)  +", listed, re.M)
        self.assertIn("verify", commands)
        with open(os.path.join(TOOLS, "pxinfo.1")) as f:
            manual = f.read()
        for name in ("PXINFO_TRACE", "PXINFO_VERBOSITY"):
            self.assertIn(name, overview)
            self.assertIn(name, manual)

        def offered(words):
            script = 'source "%s"; COMP_WORDS=(%s); COMP_CWORD=%d; _pxinfo; echo "${COMPREPLY[@]}"'
            script %= (os.path.join(TOOLS, "pxinfo.bash"), words, len(words.split()) - 1)
            return set(subprocess.run(["bash", "-c", script], capture_output=True, text=True).stdout.split())

        for command in commands:
            usage = run("help", *command.split())[1]
            options = set(re.findall(r"^  (?:(-\w), )?(--[a-z-]+)", usage, re.M))
            options = {o for pair in options for o in pair if o}
            self.assertIn('.SS "%s' % command.replace("-", "\\-"), manual)
            for option in options:
                self.assertIn(option.replace("-", "\\-"), manual, command)
            self.assertEqual(options | {"--help"}, offered("pxinfo %s -" % command), command)
        self.assertEqual({c.split()[0] for c in commands} | {"help", "--help", "--version"}, offered('pxinfo ""'))

    def test_demo_files_and_samples_are_what_they_say(self):
        for n in (1, 2, 3):
            for suffix, kind in ((".pkt", "kvupdate"), (".ord", "shorder")):
                self.assertIn(self.path("boston-%d%s" % (n, suffix)), self.demo_output)
        self.assertEqual(3, self.read("log", "gm_log").decode().count(self.dir + "/boston-"))
        kinds = {"update-v7.pkt": "kvupdate", "create-v4.pkt": "kvcreate", "update-v0.pkt": "kvupdate",
                 "update-v7.ord": "shorder", "older-header.ord": "shorder", "family.health": "health"}
        found = run_json("type", *[os.path.join(EXAMPLES, n) for n in kinds])
        self.assertEqual(list(kinds.values()), [f["kind"] for f in found])
        self.assertEqual([3, 2, 0], [run_json("header", os.path.join(EXAMPLES, n))["layout"] for n in list(kinds)[:3]])
        info = run_json("info", self.path("boston-2.pkt"))
        self.assertEqual(([110, 40, 70], ["dublin", "tokyo"]), ([r["start_epoch"] for r in info["references"]],
                                                               [t["name"] for t in info["targets"]]))
        shutil.copy(self.path("boston-1.pkt"), self.path("boston-1.pkt.copy"))
        names = [self.path("boston-%d.pkt" % n) for n in (3, 1, 2)] + [self.path("boston-1.pkt.copy")]
        self.assertEqual(sorted(names), run("order-of", *names)[1].split())
        health = run_json("health", "show", self.path("demo-family.health"))
        self.assertEqual(["ok", "failed", "ok"], [r["status_value"] for r in health["sync"]["replicas"]])
        self.assertEqual(["130", "40", "70"], scalars_of(health["epoch"]["replicas"][0]["epochs"]))


if __name__ == "__main__":
    PXINFO = sys.argv.pop(1)
    unittest.main(verbosity=1)
