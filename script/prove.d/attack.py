"""What the stages share: a capture service, the host under attack, and the judgement of what came of it."""

import atexit
import collections
import concurrent.futures
import http.client
import json
import os
import queue
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

BUILD = Path(os.environ.get("BUILD", "build/test")).resolve()
HOST = BUILD / "proofs/proof-host"
LIMIT = 90  # seconds until a host counts as hanging, on a busy machine
WORKERS = os.cpu_count() or 2
DROPPED = ("pushedOut", "refused", "unsendable", "unreadable")
EVENTS, REQUESTS = "et", "pui"  # kinds of calls, by the first letter of their names, see proofs/host.cpp


class Service:
    """The capture service, in a process of its own, emptied between two attacks."""

    def __init__(self):
        self.process = subprocess.Popen(["node", "tools/capture-service/capture-service.mjs", "--max-records", "1000000"],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.url = self.process.stdout.readline().split()[-1]

    def ask(self, method, path):
        connection = http.client.HTTPConnection(self.url.split("//")[1], timeout=LIMIT)
        connection.request(method, path)
        answer = json.loads(connection.getresponse().read())
        connection.close()
        return answer

    def records(self):
        return self.ask("GET", "/_/records")["records"]

    def close(self):
        self.process.kill()
        self.process.wait()


class Ended:
    """What a host said until it ended: calls begun and returned, whether all was stored and sent, figures, status."""

    def __init__(self, words, service, data, environment, before=()):
        self.status, output, self.errors = self.run([*before, HOST, service.url, data, *words], {**os.environ, **environment})
        whole = output[:output.rfind("\n") + 1]  # a kill may cut the last line
        lines = [line.split(" ", 1) for line in whole.splitlines() if " " in line]
        self.has_begun = any(word == "here" for word, _ in lines)
        self.has_given_up = any(word == "given" for word, _ in lines)
        self.begun = [rest for word, rest in lines if word == "?"]
        self.returned = [rest for word, rest in lines if word == "+"]
        self.is_stored, self.is_sent = next(([part == "1" for part in rest.split()] for word, rest in lines if word == "flushed"),
                                            (False, False))
        self.figures = next((json.loads(rest) for word, rest in lines if word == "status"), None)

    def run(self, command, environment):
        """How it ended, and what it wrote on both of its outputs."""
        try:
            done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=LIMIT, env=environment)
            return done.returncode, done.stdout, done.stderr
        except subprocess.TimeoutExpired as late:
            return "a hang", (late.stdout or b"").decode(), ""


def injected(plan, folder, **more):
    """The environment of a host whose calls fail as planned, and the file that tells that it has happened."""
    fired = folder / "fired"
    fired.unlink(missing_ok=True)
    return {"LD_PRELOAD": str(BUILD / "proofs/proof-faults.so"), "FAULT": plan, "FAULT_FIRED": str(fired), **more}, fired


def unbalanced(figures):
    """Kinds whose sum does not agree."""
    return [kind for kind in ("events", "requests")
            if figures[kind]["accepted"] + figures[kind]["found"]
            != figures[kind]["waiting"] + figures[kind]["delivered"] + sum(figures[kind][why] for why in DROPPED)]


def uncounted(host):
    """Kinds of which something is said to wait, although all was sent."""
    return [kind for kind in ("events", "requests") if host.is_sent and host.figures[kind]["waiting"] > 0]


def name_of(record):
    """The name of the call that a record comes from; none for what the library or the host adds."""
    if record["endpoint"] == "track":
        if "message" not in record:  # refused as a whole
            return None
        kind, event = next(item for item in record["message"]["event"].items() if isinstance(item[1], dict))
        return event.get("type") if kind == "customEvent" else event.get("targetA11yId")
    named = record.get("named", {})
    if record["endpoint"] == "h":
        return named.get("t")
    if record["endpoint"] == "identify":
        return named.get("i")
    return next((key[1:] for key in named if key.startswith("_")), None)


class Judgement:
    """What has become of the calls of one host after the other on the same data, the last of which has sent all it found."""

    def __init__(self, hosts, records, may_forget=False, is_together=False):
        self.faults = []
        self.may_forget = may_forget or is_together  # user and properties may be those of another time, or process
        self.disorder = []
        self.begun = [name for host in hosts for name in host.begun]
        self.returned = [name for host in hosts for name in host.returned]
        self.arrivals = collections.defaultdict(list)  # of each call
        for record in records:
            if not record["valid"]:
                self.faults.append(f"refused: {record['problems']}")
            if (name := name_of(record)) and name[1:].isdigit():
                self.arrivals[name].append(record)
        self.judge_contents()
        for called in [host.begun for host in hosts] if is_together else [self.begun]:
            self.judge_order(set(called))
        self.twice, self.made_twice = self.count_repeats(records)
        self.lost = [name for name in self.returned if name[0] != "s" and name not in self.arrivals]

    def judge_contents(self):
        known, number = set(self.begun), lambda name: int(name[1:])
        for name, records in self.arrivals.items():
            if name not in known:
                self.faults.append(f"{name} was never called")
            for record in records if name[0] == "e" else []:
                message = record["message"]
                if message["event"]["customEvent"]["customProperties"] != {
                        "is": {"string": f"call {name}"}, "number": {"string": name[1:]}}:
                    self.faults.append(f"{name} has changed")
                for kind, got in (("s", message.get("properties", {}).get("seat", {}).get("string")),
                                  ("i", message["user"].get("identity"))):
                    before = [other for other in self.begun if other[0] == kind and number(other) < number(name)]
                    sure = [other for other in before if other in self.returned][-1:]
                    if not self.may_forget and got not in (before[-1:] or [None]) + (sure or [None]):
                        self.faults.append(f"{name} has {got} of {before}")

    def judge_order(self, called):
        for kinds in ("e", "ui"):
            numbers = [int(name[1:]) for name in self.arrivals if name[0] in kinds and name in called]
            if numbers != sorted(numbers):
                self.disorder.append(f"out of order: {kinds} {numbers}")

    def count_repeats(self, records):
        """How many of (events, requests) came again byte for byte, and the calls that were made twice."""
        ids = collections.Counter((record["endpoint"] == "track",
                                   record["message"]["id"] if record["endpoint"] == "track" else record.get("query"))
                                  for record in records if "message" in record or "query" in record)
        twice = {is_event: sum(count - 1 for (kind, _), count in ids.items() if kind == is_event) for is_event in (True, False)}
        key = lambda record: record["message"]["id"] if record["endpoint"] == "track" else record["named"]["st"]  # noqa: E731
        # A screen is recorded anew for a new user, with a time of its own.
        made_twice = [name for name, found in self.arrivals.items() if name[0] != "p" and len({key(one) for one in found}) > 1]
        return (twice[True], twice[False]), made_twice


services = queue.SimpleQueue()  # those that nobody uses; started by the first attacks, ended with the stage


def start_services():
    for _ in range(WORKERS):
        service = Service()
        atexit.register(service.close)
        services.put(service)


def attacks(works, action):
    """Does `action(work, service, folder)` for each, as many at a time as there are cores; yields the results in their order."""
    if services.empty():
        start_services()

    def one(work):
        service, folder = services.get(), Path(tempfile.mkdtemp(prefix="kova-proof-"))
        try:
            service.ask("POST", "/_/reset")
            return action(work, service, folder)
        finally:
            shutil.rmtree(folder, ignore_errors=True)
            services.put(service)

    with concurrent.futures.ThreadPoolExecutor(WORKERS) as pool:
        yield from pool.map(one, works)


def row(**fields):
    print(json.dumps(fields, ensure_ascii=False), flush=True)


def say(text):
    print(text, file=sys.stderr, flush=True)
