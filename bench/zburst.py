#!/usr/bin/env python3
"""How large a burst of requests one discovery host answers in full, over a broker of its own.

Runs mosquitto with the packaged broker configuration (packaging/examples/mosquitto, on a free
loopback port, passwords of its own) and znodemanager with the packaged discovery host
(packaging/examples/discovery.json). Each burst is N "findnode" requests published back to back
at QoS 1 by one mosquitto_pub (-l, one request per line); one mosquitto_sub counts the answers.
Between bursts the host gets time to drain. Prints one row per burst: requests, answers, time to
the last answer (or the wait that ran out), and the host's warnings of dropped answers.

    bench/zburst.py --bindir build/release/tools --module-dir build/release/NodeDiscovery
    bench/zburst.py ... --broker-setting 'max_queued_messages 0'     # the broker's queues unbounded
    bench/zburst.py ... --max-buffered 65536                         # and the host's send buffer
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "integration", "kit"))
import zejabberd  # noqa: E402
from zloopback import accepts, free_port, wait_until  # noqa: E402

REQUEST = '{"class":"ZDiscoveryFindNodeMsg","source":"control/burst/findnode","body":{"nodeUID":"Discovery-NM"}}'


def main():
    source = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bindir", required=True, help="where znodemanager is")
    parser.add_argument("--module-dir", required=True, help="where libNodeDiscovery.so is")
    parser.add_argument("--bursts", default="500,2000,5000,8000,12000,20000", help="burst sizes, comma-separated")
    parser.add_argument("--wait", type=float, default=20.0, help="seconds allowed for a burst's answers")
    parser.add_argument("--broker-setting", action="append", default=[],
                        help="a line added to the broker's configuration (repeatable), e.g. 'max_queued_messages 0'")
    parser.add_argument("--max-buffered", type=int, help="the host's MaxBufferedMQTTMessages (ZCommsParams)")
    parser.add_argument("--broker", choices=("mosquitto", "ejabberd"), default="mosquitto",
                        help="the broker, with its example configuration")
    args = parser.parse_args()
    scratch = tempfile.mkdtemp(prefix="zframework-burst.")
    os.chmod(scratch, 0o755)  # mosquitto, which drops root for its own user, reads in here
    port = free_port()
    processes = []
    try:
        cluster = None
        if args.broker == "ejabberd":
            if not zejabberd.available():
                sys.exit("zburst: ejabberd is not installed")
            users = (("Discovery-NM", "change-me"), ("viewer", "look-only"))
            cluster = zejabberd.EjabberdCluster(os.path.join(source, "packaging/examples/ejabberd/ejabberd.yml"),
                                                users=users)
            cluster.start()
            port = cluster.ports[0]
        else:
            with open(os.path.join(source, "packaging/examples/mosquitto/zframework.conf")) as conf:
                text = conf.read().replace("listener 1883 ", "listener %d " % port)
            text = text.replace("/etc/mosquitto", scratch) + "sys_interval 1\n" + "".join(
                line + "\n" for line in args.broker_setting)
            with open(os.path.join(scratch, "zframework.conf"), "w") as conf:
                conf.write(text)
            shutil.copy(os.path.join(source, "packaging/examples/mosquitto/zframework.acl"), scratch)
            passwords = os.path.join(scratch, "zframework.passwd")
            subprocess.run(["mosquitto_passwd", "-c", "-b", passwords, "Discovery-NM", "change-me"], check=True)
            subprocess.run(["mosquitto_passwd", "-b", passwords, "viewer", "look-only"], check=True)
            os.chmod(passwords, 0o644)  # readable by the broker's own user: this folder is thrown away
            broker_log = open(os.path.join(scratch, "broker.log"), "w")
            processes.append(subprocess.Popen(["mosquitto", "-c", os.path.join(scratch, "zframework.conf")],
                                              stdout=broker_log, stderr=broker_log))
            if not wait_until(lambda: accepts(port), 10):
                sys.exit("zburst: mosquitto did not start")
        with open(os.path.join(source, "packaging/examples/discovery.json")) as config:
            document = json.loads(config.read().replace("127.0.0.1:1883", "127.0.0.1:%d" % port))
        if args.max_buffered:
            for record in document["Config"]["ConfigParams"]:
                if record["class"] == "ZCommsParams":
                    record["MaxBufferedMQTTMessages"] = args.max_buffered
        text = json.dumps(document, indent=2)
        host_config = os.path.join(scratch, "discovery.json")
        with open(host_config, "w") as config:
            config.write(text)
        host_log_path = os.path.join(scratch, "host.log")
        host_log = open(host_log_path, "w")
        env = dict(os.environ, LD_LIBRARY_PATH=args.module_dir)
        processes.append(subprocess.Popen([os.path.join(args.bindir, "znodemanager"), host_config],
                                          stdout=host_log, stderr=host_log, env=env))
        log_text = lambda: open(host_log_path).read()  # noqa: E731
        if not wait_until(lambda: "Node manager <Discovery-NM> running" in log_text(), 10):
            sys.exit("zburst: the discovery host did not start:\n" + log_text())
        credentials = ["-p", str(port), "-u", "Discovery-NM", "-P", "change-me", "--nodelay"]

        def broker_dropped():
            """mosquitto's own count of messages it dropped, as the operator's viewer account reads it."""
            if cluster:
                return 0  # ejabberd keeps no such count: it closes the session instead
            got = subprocess.run(["mosquitto_sub", "-p", str(port), "-u", "viewer", "-P", "look-only", "-C", "1",
                                  "-W", "3", "-t", "$SYS/broker/publish/messages/dropped"],
                                 capture_output=True, text=True)
            return int(got.stdout.strip() or -1)

        print("%8s %8s %10s  %15s  %14s  %s" % ("burst", "answers", "ms", "host's warnings", "broker dropped",
                                                "host lost broker"))
        for size in (int(n) for n in args.bursts.split(",")):
            warned = log_text().count("Buffer full")
            lost = log_text().count("Lost the broker")
            dropped = broker_dropped()
            answers = os.path.join(scratch, "answers")
            counter = subprocess.Popen(["mosquitto_sub", *credentials, "-q", "1", "-t", "response/burst/findnode",
                                        "-C", str(size), "-W", str(int(args.wait))],
                                       stdout=open(answers, "w"), stderr=subprocess.DEVNULL)
            time.sleep(0.3)  # mosquitto_sub says nothing once it has subscribed
            start = time.monotonic()
            subprocess.run(["mosquitto_pub", *credentials, "-q", "1", "-l", "-t", "control/ZNodeDiscovery1/findnode"],
                           input="\n".join([REQUEST] * size) + "\n", text=True, check=True)
            counter.wait()
            elapsed = (time.monotonic() - start) * 1000
            with open(answers) as got:
                count = sum(1 for _ in got)
            time.sleep(1.5)  # the broker publishes its counters every sys_interval (1 s here)
            print("%8d %8d %10.0f  %15d  %14d  %d" % (size, count, elapsed, log_text().count("Buffer full") - warned,
                                                      broker_dropped() - dropped,
                                                      log_text().count("Lost the broker") - lost))
            sys.stdout.flush()
        return 0
    finally:
        for process in reversed(processes):
            process.terminate()
            process.wait()
        if cluster:
            cluster.close()
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
