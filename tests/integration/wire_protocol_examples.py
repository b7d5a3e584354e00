#!/usr/bin/env python3
"""Runs the examples of docs/wire-protocol.md against a live system and checks every answer.

The system is the one the document describes: a mosquitto broker (on a free loopback port here,
1883 in the document; with --broker ejabberd a two-node ejabberd cluster of the documented
configuration, the discovery host on one node and the sensor host and every client on the other), the discovery host of docs/examples/wire-bridge.json and the node manager of
docs/examples/wire-sensors.json. Every ```sh block of the document that is followed by a ```json
block is an example: its commands run in document order (with the port rewritten) and what they
print must be the JSON shown, values that differ from run to run (start IDs, time stamps) aside. A
```text block after a ```sh block is a log line that the discovery host must write. The blocks
under "<!-- check: will -->" and "<!-- check: offline -->" are checked by killing the sensor host
and then the discovery host at the end.

Exit code 0 when every example answered as documented, 1 with a report otherwise, 77 when the broker
or mosquitto's clients are not installed.
"""

import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "kit"))
import zejabberd  # noqa: E402
from zloopback import Failure, accepts, free_port, wait_until  # noqa: E402

DOCUMENTED_PORT = "1883"
VARYING_KEYS = {"startID", "timeUs"}
# Within the records of a list under these keys, values of these keys vary too, whatever their type.
VARYING_IN_RECORDS = {
    "nodeManagers": {"hostName", "processID", "osVersion", "sessionID", "registeredTimeUs", "ageMs", "silentMs",
                     "deadTimeLeftMs"},
}
EXAMPLE_TIMEOUT = 20.0
SETTLE_TIMEOUT = 30.0
SKIPPED = 77  # ctest's SKIP_RETURN_CODE


def blocks_of(document):
    """Fenced blocks as (language, text, marker, line number); marker is the check name above."""
    blocks = []
    lines = document.splitlines()
    i = 0
    marker = None
    while i < len(lines):
        line = lines[i]
        found = re.match(r"<!-- check: (\w+) -->", line.strip())
        if found:
            marker = found.group(1)
        fence = re.match(r"^```(\w*)\s*$", line)
        if fence:
            start = i
            body = []
            i += 1
            while i < len(lines) and not lines[i].startswith("```"):
                body.append(lines[i])
                i += 1
            blocks.append((fence.group(1), "\n".join(body), marker, start + 1))
            marker = None
        i += 1
    return blocks


def examples_of(blocks):
    examples = []
    for index, (language, text, _, line) in enumerate(blocks):
        if language != "sh":
            continue
        if index + 1 >= len(blocks) or blocks[index + 1][0] not in ("json", "text"):
            raise Failure(f"line {line}: the ```sh example has no ```json or ```text answer after it")
        examples.append((text, blocks[index + 1][0], blocks[index + 1][1], line))
    return examples


def json_values(text):
    """Every JSON value in the text, in order (one per line from mosquitto's clients)."""
    decoder = json.JSONDecoder()
    values = []
    position = 0
    text = text.strip()
    while position < len(text):
        value, end = decoder.raw_decode(text, position)
        values.append(value)
        position = end
        while position < len(text) and text[position].isspace():
            position += 1
    return values


def normalised(value, varying=frozenset()):
    if isinstance(value, dict):
        result = {}
        for key, item in value.items():
            if key in varying or (key in VARYING_KEYS and isinstance(item, int)):
                result[key] = "<varies>"
            else:
                result[key] = normalised(item, varying | VARYING_IN_RECORDS.get(key, frozenset()))
        return result
    if isinstance(value, list):
        return [normalised(item, varying) for item in value]
    return value


class System:
    """The broker and the two node managers, each process killed on the way out."""

    # On the cluster: the discovery host's node, and the node of the sensor host and the clients.
    HOST_NODE, CLIENT_NODE = 0, 1

    def __init__(self, folder, znodemanager, module, examples_folder, ejabberd_config=None):
        self.folder = folder
        self.znodemanager = znodemanager
        self.module = module
        self.examples_folder = examples_folder
        self.port = free_port()
        self.processes = {}
        self.cluster = zejabberd.EjabberdCluster(ejabberd_config, nodes=2) if ejabberd_config else None

    def url(self, node=CLIENT_NODE):
        return self.cluster.url(node) if self.cluster else f"mqtt://127.0.0.1:{self.port}"

    def client_options(self, node=CLIENT_NODE):
        """What mosquitto's clients of the examples need to reach the broker."""
        return self.cluster.client_options(node) if self.cluster else ["-p", str(self.port)]

    def log_path(self, name):
        return os.path.join(self.folder, name + ".log")

    def log(self, name):
        with open(self.log_path(name), encoding="utf-8", errors="replace") as log:
            return log.read()

    def spawn(self, name, args):
        log = open(self.log_path(name), "ab")
        self.processes[name] = subprocess.Popen(args, stdin=subprocess.DEVNULL, stdout=log,
                                                stderr=subprocess.STDOUT)
        log.close()

    def kill(self, name):
        process = self.processes.pop(name, None)
        if process is not None and process.poll() is None:
            process.send_signal(signal.SIGKILL)
            process.wait()

    def close(self, keep=False):
        for name in list(self.processes):
            self.kill(name)
        if self.cluster:
            self.cluster.close(keep)
            if keep:
                print(f"ejabberd's logs in {self.cluster.folder}", file=sys.stderr)

    def start_broker(self):
        if self.cluster:
            self.cluster.start()
            return
        config = os.path.join(self.folder, "mosquitto.conf")
        with open(config, "w", encoding="utf-8") as file:
            file.write(f"listener {self.port} 127.0.0.1\nallow_anonymous true\npersistence false\n")
        self.spawn("mosquitto", ["/usr/sbin/mosquitto", "-c", config])
        if not wait_until(lambda: accepts(self.port), SETTLE_TIMEOUT):
            raise Failure("the broker did not start:\n" + self.log("mosquitto"))

    def start_host(self, name, config, node, *extra):
        path = os.path.join(self.examples_folder, config)
        self.spawn(name, [self.znodemanager, path, "--transport", self.url(node), *extra])

    def ask(self, request, topic, response, timeout=1):
        result = subprocess.run(["mosquitto_rr", *self.client_options(), "-W", str(timeout), "-t", topic, "-e",
                                 response, "-m", json.dumps(request)],
                                capture_output=True, text=True, timeout=timeout + 10)
        return result.stdout if result.returncode == 0 else None

    def knows(self, node_manager):
        answer = self.ask({"class": "ZDiscoveryFindNodeMsg", "source": "control/wiretest/findnode",
                           "body": {"nodeUID": node_manager}},
                          "control/ZNodeDiscovery1/findnode", "response/wiretest/findnode")
        return answer is not None and json.loads(answer)["body"]["bSuccess"]

    def start(self):
        self.start_broker()
        self.start_host("bridge", "wire-bridge.json", self.HOST_NODE, "--module", self.module)
        # The sensor host starts once the discovery host is registered, so that the graph lists them
        # in the documented order.
        if not wait_until(lambda: self.knows("Bridge-NM"), SETTLE_TIMEOUT, period=0.2):
            raise Failure("the discovery host did not register:\n" + self.log("bridge"))
        self.start_host("sensors", "wire-sensors.json", self.CLIENT_NODE)
        sensors_registered = lambda: "Node manager <Sensor-NM> running" in self.log("sensors")
        if not wait_until(sensors_registered, SETTLE_TIMEOUT, period=0.1):
            raise Failure("the sensor host did not register:\n" + self.log("sensors"))


# A cluster node shows a late subscriber only the retained topics it knew when it started or that
# were published on it (docs/operations.md): retained status is read where the discovery host is.
RETAINED_ON_HOST_NODE = ("status/ZNodeDiscovery1/removals", "status/ZNodeDiscovery1/online")


def run_example(system, command, timeout=EXAMPLE_TIMEOUT):
    node = system.HOST_NODE if any(topic in command for topic in RETAINED_ON_HOST_NODE) else system.CLIENT_NODE
    command = re.sub(r"-p " + DOCUMENTED_PORT + r"\b", " ".join(system.client_options(node)), command)
    result = subprocess.run(["/bin/sh", "-c", command], capture_output=True, text=True, timeout=timeout)
    if result.returncode != 0:
        raise Failure(f"exit code {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def compare(expected_text, actual_text):
    try:
        expected = json_values(expected_text)
    except ValueError as error:
        raise Failure(f"the documented answer is not JSON: {error}")
    try:
        actual = json_values(actual_text)
    except ValueError as error:
        raise Failure(f"the answer is not JSON: {error}\n{actual_text}")
    if normalised(expected) != normalised(actual):
        raise Failure("answered:\n" + "\n".join(json.dumps(value, indent=2) for value in actual))


def check_examples(system, examples):
    for command, kind, expected, line in examples:
        try:
            output = run_example(system, command)
            if kind == "json":
                compare(expected, output)
            else:
                wanted = expected.strip()
                if not wait_until(lambda: wanted in system.log("bridge"), EXAMPLE_TIMEOUT):
                    raise Failure(f"the discovery host did not log: {wanted}")
        except (Failure, subprocess.TimeoutExpired) as error:
            raise Failure(f"example at line {line}:\n{command}\n{error}")
        print(f"ok    line {line}: {command.splitlines()[0][:100]}")


def check_presence(system, blocks):
    marked = {marker: (text, line) for _, text, marker, line in blocks if marker}
    for name in ("will", "offline"):
        if name not in marked:
            raise Failure(f"no block marked <!-- check: {name} -->")
    # The will of the sensor host, as the broker publishes it when the host dies.
    listener = subprocess.Popen(["stdbuf", "-oL", "mosquitto_sub", "-d", *system.client_options(), "-C", "1", "-W", "20", "-t",
                                 "control/ZNodeDiscovery1/removenodemanager"],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    try:
        output = []
        while True:
            line = listener.stdout.readline()
            if not line:
                raise Failure("mosquitto_sub ended before it subscribed")
            if "SUBACK" in line:
                break
        system.kill("sensors")
        for line in listener.stdout:
            if line.startswith("{"):
                output.append(line)
        listener.wait(timeout=30)
    finally:
        if listener.poll() is None:
            listener.kill()
            listener.wait()
    text, line = marked["will"]
    try:
        compare(text, "".join(output))
    except Failure as error:
        raise Failure(f"will at line {line}: {error}")
    print(f"ok    line {line}: the sensor host's last will")
    # The retained online status once the discovery host is gone.
    system.kill("bridge")
    text, line = marked["offline"]
    command = (f"mosquitto_sub {' '.join(system.client_options(system.HOST_NODE))} -t status/ZNodeDiscovery1/online"
               " -C 1 -W 10")

    def offline():
        values = json_values(run_example(system, command))
        return values and not values[0]["body"]["bOnline"]

    if not wait_until(offline, SETTLE_TIMEOUT, period=0.1):
        raise Failure(f"offline status at line {line}: the status did not turn offline")
    try:
        compare(text, run_example(system, command))
    except Failure as error:
        raise Failure(f"offline status at line {line}: {error}")
    print(f"ok    line {line}: the discovery host's offline status")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--document", required=True)
    parser.add_argument("--znodemanager", required=True)
    parser.add_argument("--module", required=True, help="libNodeDiscovery.so")
    parser.add_argument("--keep", action="store_true", help="keep the logs")
    parser.add_argument("--broker", choices=("mosquitto", "ejabberd"), default="mosquitto")
    parser.add_argument("--ejabberd-config", help="the ejabberd.yml the cluster runs (the documented example)")
    options = parser.parse_args()
    broker = "/usr/sbin/mosquitto" if options.broker == "mosquitto" else zejabberd.EJABBERDCTL
    for program in (broker, shutil.which("mosquitto_rr"), shutil.which("mosquitto_sub")):
        if not program or not os.access(program, os.X_OK):
            print(f"{options.broker} or mosquitto's clients are not installed: skipped")
            return SKIPPED
    if options.broker == "ejabberd" and (not options.ejabberd_config or not zejabberd.available()):
        print("ejabberd cannot run here (no configuration, or neither root nor its user): skipped")
        return SKIPPED
    with open(options.document, encoding="utf-8") as file:
        blocks = blocks_of(file.read())
    folder = tempfile.mkdtemp(prefix="zwire-")
    examples_folder = os.path.join(os.path.dirname(os.path.abspath(options.document)), "examples")
    system = System(folder, options.znodemanager, options.module, examples_folder,
                    options.ejabberd_config if options.broker == "ejabberd" else None)
    failed = False
    try:
        examples = examples_of(blocks)
        if not examples:
            raise Failure("the document holds no examples")
        system.start()
        check_examples(system, examples)
        check_presence(system, blocks)
        print(f"{len(examples)} examples and 2 presence messages answered as documented")
    except (Failure, subprocess.TimeoutExpired, OSError) as error:
        failed = True
        print(f"FAILED {error}", file=sys.stderr)
    finally:
        system.close(keep=failed or options.keep)
        if failed or options.keep:
            print(f"logs in {folder}", file=sys.stderr)
        else:
            shutil.rmtree(folder, ignore_errors=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
