#!/usr/bin/env python3
"""Runs the walkthrough of docs/operations.md from its broker step on, and checks what it promises.

Every line of the ```sh blocks from "## 3. The broker" up to the ejabberd section (whose example
configuration the ejabberd tests start) runs in document order, on a scratch copy of the system:
/etc/mosquitto, /etc/zframework and the installed examples live in a scratch folder, the broker
listens on a free loopback port instead of 1883, and the programs are the build's.
What needs the machine itself is played by the test: "systemctl restart mosquitto" starts mosquitto
on the scratch configuration, "systemctl reload mosquitto" sends it SIGHUP, "systemctl enable --now
znodemanager@NAME" starts znodemanager on /etc/zframework/NAME.json as the unit does. Package
installation, the journal and "ztopo watch" (which runs until Ctrl-C) are left out; chown runs only
as root, and the service's group (made by the package) is used only where it exists.

Sessions shown in ```text blocks ("$ command" and what it prints) must print just that. Then the
lines the document quotes under "What to look for" must appear in the discovery host's log
once the faults they name happen (a broker restart, a malformed message, a killed node manager), the
refusal of a wrong password must be the line quoted in step 4, and no password of the walkthrough
may appear in any log or output.

Exit code 0 when all holds, 1 with a report otherwise, 77 when mosquitto is not installed.
"""

import argparse
import grp
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "kit"))
from zloopback import Failure, accepts, free_port, wait_until  # noqa: E402

SKIPPED = 77
TIMEOUT = 20.0
PASSWORDS = ("change-me", "change-me-too", "look-only", "steer-me")
LEFT_OUT = ("apt-get", "journalctl", "ztopo watch")
EJABBERD_SECTION = "## Running over an ejabberd cluster"


def walkthrough(document):
    """The document up to its ejabberd section, which sets up another broker."""
    return document[:document.index(EJABBERD_SECTION)] if EJABBERD_SECTION in document else document


def sh_blocks(document):
    """The commands of the ```sh blocks from the broker step on, one per line, comments cut."""
    text = walkthrough(document)[document.index("## 3. The broker"):]
    commands = []
    for block in re.findall(r"```sh\n(.*?)```", text, re.S):
        for line in block.splitlines():
            line = re.sub(r"\s{2,}#.*$", "", line).strip()
            if line:
                commands.append(line)
    return commands


def transcripts(document):
    """The ```text blocks that are sessions: "$ command" lines, each followed by what it prints."""
    sessions = []
    for block in re.findall(r"```text\n(.*?)```", document, re.S):
        if not block.startswith("$ "):
            continue
        for entry in block.split("$ ")[1:]:
            command, _, printed = entry.partition("\n")
            sessions.append((command, printed))
    return sessions


def looked_for(document):
    """The lines quoted under "What to look for", as patterns: "..." stands for anything."""
    section = walkthrough(document)[document.index("What to look for:"):]
    patterns = []
    for item in section.split("\n- ")[1:]:
        for quoted in re.findall(r"`([^`]+)`", item):
            if quoted.startswith("ztopo"):
                continue
            quoted = re.sub(r"\s+", " ", quoted)
            patterns.append(quoted)
    return patterns


class Walkthrough:
    def __init__(self, args, scratch):
        self.args = args
        self.scratch = scratch
        self.port = free_port()
        self.broker = None
        self.hosts = {}
        self.env = dict(os.environ)
        self.env["PATH"] = args.bindir + os.pathsep + self.env.get("PATH", "")
        self.env["LD_LIBRARY_PATH"] = args.module_dir + os.pathsep + self.env.get("LD_LIBRARY_PATH", "")
        self.env.pop("ZTOPO_BROKER", None)
        self.env.pop("ZBROKER_PASSWORD", None)
        self.outputs = []
        os.chmod(scratch, 0o755)  # mosquitto, which drops root for its own user, reads in here
        for folder in ("etc/mosquitto/conf.d", "etc/zframework"):
            os.makedirs(os.path.join(scratch, folder))
        examples = os.path.join(scratch, "examples")
        shutil.copytree(args.examples, examples)
        for root, _, files in os.walk(examples):
            for name in files:
                path = os.path.join(root, name)
                with open(path) as source:
                    text = source.read()
                with open(path, "w") as target:
                    target.write(self.rewrite(text))

    @staticmethod
    def has_service_group():
        try:
            grp.getgrnam("zframework")
            return True
        except KeyError:
            return False

    def rewrite(self, text):
        if not self.has_service_group():  # the package makes it; this machine may not have it
            text = text.replace(" -g zframework", "")
        text = text.replace("/usr/share/doc/zframework/examples", os.path.join(self.scratch, "examples"))
        text = text.replace("/etc/mosquitto", os.path.join(self.scratch, "etc/mosquitto"))
        text = text.replace("/etc/zframework", os.path.join(self.scratch, "etc/zframework"))
        text = text.replace("127.0.0.1:1883", "127.0.0.1:%d" % self.port)
        text = text.replace("listener 1883 ", "listener %d " % self.port)
        text = text.replace("-h 127.0.0.1 ", "-h 127.0.0.1 -p %d " % self.port)
        return text

    # The machine's part.
    def start_broker(self):
        self.stop_broker()
        config = os.path.join(self.scratch, "etc/mosquitto/conf.d/zframework.conf")
        log = open(os.path.join(self.scratch, "broker.log"), "a")
        self.broker = subprocess.Popen(["mosquitto", "-c", config], stdout=log, stderr=log)
        if not wait_until(lambda: accepts(self.port), TIMEOUT):
            raise Failure("mosquitto did not start on port %d" % self.port)

    def broker_log(self):
        with open(os.path.join(self.scratch, "broker.log")) as log:
            return log.read()

    def stop_broker(self):
        if self.broker:
            self.broker.terminate()
            self.broker.wait()
            self.broker = None

    def start_host(self, name):
        config = os.path.join(self.scratch, "etc/zframework/%s.json" % name)
        log_path = os.path.join(self.scratch, "%s.log" % name)
        log = open(log_path, "a")
        self.hosts[name] = (subprocess.Popen(["znodemanager", config], stdout=log, stderr=log, env=self.env),
                            log_path)
        if not wait_until(lambda: re.search(r"Node manager <[^>]+> running", self.log_of(name)), TIMEOUT):
            raise Failure("znodemanager@%s did not start:\n%s" % (name, self.log_of(name)))

    def log_of(self, name):
        with open(self.hosts[name][1]) as log:
            return log.read()

    def run(self, command, expect=0):
        result = subprocess.run(["bash", "-c", command], env=self.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        self.outputs.append(result.stdout + result.stderr)
        if expect is not None and result.returncode != expect:
            raise Failure("`%s` exited %d, not %d:\n%s%s" % (command, result.returncode, expect, result.stdout,
                                                             result.stderr))
        return result

    # The document's part.
    def step(self, line):
        if line.startswith(LEFT_OUT):
            return "left out"
        command = self.rewrite(line)
        unit = re.fullmatch(r"systemctl (restart|reload|enable --now) (\S+)", line)
        if unit:
            action, name = unit.groups()
            if name == "mosquitto" and action == "restart":
                self.start_broker()
            elif name == "mosquitto" and action == "reload":
                reloads = self.broker_log().count("Reloading config.")
                self.broker.send_signal(signal.SIGHUP)
                if not wait_until(lambda: self.broker_log().count("Reloading config.") > reloads, TIMEOUT):
                    raise Failure("mosquitto did not read its files again")
            elif name.startswith("znodemanager@"):
                self.start_host(name.split("@", 1)[1])
            else:
                raise Failure("no stand-in for `%s`" % line)
            return "played"
        if line.startswith("chown") and os.geteuid() != 0:
            return "left out (not root)"
        if line.startswith("chgrp zframework") and not self.has_service_group():
            return "left out (no group zframework)"
        exported = re.fullmatch(r"export (\w+)=(\S+)", command)
        if exported:
            self.env[exported.group(1)] = exported.group(2)
            return "exported"
        if line.startswith("mosquitto_sub"):
            result = self.run(command + " -W 1", expect=None)
            if "status/ZNodeDiscovery1/online" not in result.stdout:
                raise Failure("`%s` showed no online status:\n%s" % (line, result.stdout))
            return "ran"
        result = self.run(command)
        if line.startswith("znodemanager --check") and not result.stdout.endswith(": OK\n"):
            raise Failure("`%s` printed %r" % (line, result.stdout))
        if line.startswith("ztopo show") and "Radar-NM" not in result.stdout:
            raise Failure("`ztopo show` does not show Radar-NM:\n%s" % result.stdout)
        return "ran"

    def sessions(self, document):
        """Each documented session prints what the document shows."""
        for command, printed in transcripts(document):
            result = self.run(self.rewrite(command), expect=None)
            if result.stdout + result.stderr != self.rewrite(printed):
                raise Failure("`%s` printed:\n%s%s\nnot:\n%s" % (command, result.stdout, result.stderr, printed))
            print("%-16s %s" % ("as shown", command))

    def faults(self, document):
        """The faults the log section names, then its quoted lines in the discovery host's log."""
        self.run("mosquitto_pub -p %d -u Discovery-NM -P change-me -t control/ZNodeDiscovery1/gettopo -m '{not json'"
                 % self.port)
        self.start_broker()
        wait_until(lambda: self.log_of("discovery").count("Connected to <") >= 2, TIMEOUT)
        radar, _ = self.hosts["radar"]
        radar.kill()
        radar.wait()
        wait_until(lambda: "Removing node manager: UID = <Radar-NM>" in self.log_of("discovery"), TIMEOUT)
        log = self.log_of("discovery")
        for quoted in looked_for(document):
            pattern = ".*".join(re.escape(part) for part in self.rewrite(quoted).split("..."))
            if not re.search(pattern, log):
                raise Failure("the log has no line like `%s`:\n%s" % (quoted, log))

    def refusal(self, document):
        quoted = re.search(r"`(znodemanager: /etc/zframework/discovery\.json: broker [^`]+)`", document)
        if not quoted:
            raise Failure("step 4 quotes no refusal")
        wrong = os.path.join(self.scratch, "etc/zframework/wrong.json")
        with open(os.path.join(self.scratch, "etc/zframework/discovery.json")) as source:
            text = source.read().replace("Discovery-NM:change-me@", "Discovery-NM:not-the-password@")
        with open(wrong, "w") as target:
            target.write(text.replace('"UID": "Discovery-NM"', '"UID": "Wrong-NM"'))
        result = self.run("znodemanager %s" % wrong, expect=2)
        expected = self.rewrite(quoted.group(1)).replace("discovery.json", "wrong.json")
        if expected not in result.stderr:
            raise Failure("the refusal is not the documented line:\n%s\nexpected:\n%s" % (result.stderr, expected))

    def close(self):
        for process, _ in self.hosts.values():
            if process.poll() is None:
                process.send_signal(signal.SIGTERM)
                try:
                    process.wait(timeout=10)
                except subprocess.TimeoutExpired:
                    process.kill()
        self.stop_broker()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--document", required=True)
    parser.add_argument("--examples", required=True, help="the example configurations (packaging/examples)")
    parser.add_argument("--bindir", required=True, help="where znodemanager and ztopo are")
    parser.add_argument("--module-dir", required=True, help="where libNodeDiscovery.so is")
    args = parser.parse_args()
    if not shutil.which("mosquitto") or not shutil.which("mosquitto_passwd"):
        print("mosquitto is not installed: skipped")
        return SKIPPED
    with open(args.document) as source:
        document = source.read()
    scratch = tempfile.mkdtemp(prefix="zframework-walkthrough.")
    walkthrough = Walkthrough(args, scratch)
    try:
        for line in sh_blocks(document):
            print("%-16s %s" % (walkthrough.step(line), line))
        walkthrough.sessions(document)
        walkthrough.faults(document)
        walkthrough.refusal(document)
        logs = [walkthrough.log_of(name) for name in walkthrough.hosts] + walkthrough.outputs
        for password in PASSWORDS:
            if any(re.search(r"\b%s\b" % re.escape(password), text) for text in logs):
                raise Failure("password <%s> shows in a log or an output" % password)
        print("the walkthrough runs as documented")
        return 0
    except Failure as failure:
        print("FAILED: %s" % failure)
        return 1
    finally:
        walkthrough.close()
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
