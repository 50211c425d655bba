#!/usr/bin/python3
"""Load on the web remote: 16 signed-in phones on `ostinel-cli serve` while
a show plays for 60 s.

Measures, and prints as one table:
- GO round trip: from sending {"t":"go"} to the state push that says
  playing, at the sender (median and worst of the tries);
- pushes: every client must receive the same sequence of state and
  position messages, in order, with elapsed never going back within a cue
  (nothing lost, nothing reordered);
- the main thread's CPU time while 16 clients watch, against the same span
  with none, as a share of one core: the remote's cost.

Usage: remote_load.py OSTINEL_CLI [SECONDS]   (Python's websockets, Debian python3-websockets)
Exit status 1 when a push is lost or reordered or the remote costs 5% of a core or more.
"""
import asyncio
import json
import os
import socket
import statistics
import subprocess
import sys
import tempfile
import time

import websockets

CLIENTS = 16
PIN = "4711"


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def main_thread_seconds(pid):
    with open(f"/proc/{pid}/task/{pid}/stat") as f:
        fields = f.read().rsplit(")", 1)[1].split()
    ticks = os.sysconf("SC_CLK_TCK")
    return (int(fields[11]) + int(fields[12])) / ticks


async def signed_in(url):
    ws = await websockets.connect(url, max_size=2**22)
    await ws.send(json.dumps({"t": "auth", "pin": PIN}))
    reply = json.loads(await ws.recv())
    assert reply.get("ok"), reply
    return ws


async def collect(ws, log, stop):
    try:
        while not stop.is_set():
            try:
                text = await asyncio.wait_for(ws.recv(), 0.5)
            except asyncio.TimeoutError:
                continue
            log.append((time.monotonic(), json.loads(text)))
    except websockets.ConnectionClosed:
        log.append((time.monotonic(), {"t": "closed"}))


async def until(log, start, predicate, timeout=10.0):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        for stamp, message in log[start:]:
            if predicate(message):
                return stamp
        await asyncio.sleep(0.002)
    raise TimeoutError("no matching push")


async def run(cli, seconds):
    work = tempfile.mkdtemp(prefix="ostinel-remote-load-")
    env = dict(os.environ, HOME=work, XDG_CONFIG_HOME=work + "/config", XDG_DATA_HOME=work + "/data",
               XDG_CACHE_HOME=work + "/cache", XDG_RUNTIME_DIR=work, TMPDIR=work,
               OSTINEL_AUDIO_BACKEND="offline", OSTINEL_MIDI_BACKEND="loopback")
    subprocess.run([cli, "demo", work + "/demo"], env=env, check=True, stdout=subprocess.DEVNULL)
    port = free_port()
    server = subprocess.Popen([cli, "serve", work + "/demo/demo.ot", "--remote-port", str(port), "--pin", PIN],
                              env=env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    try:
        while True:
            line = server.stdout.readline()
            if not line:
                raise RuntimeError("serve ended before it was ready")
            if '"event":"ready"' in line:
                break
        url = f"ws://127.0.0.1:{port}/ws"

        # The main thread with nobody watching, the first cue playing.
        first = await signed_in(url)
        await first.send(json.dumps({"t": "go"}))
        await first.close()
        await asyncio.sleep(1.0)
        t0, c0 = time.monotonic(), main_thread_seconds(server.pid)
        await asyncio.sleep(seconds / 3)
        idle_share = (main_thread_seconds(server.pid) - c0) / (time.monotonic() - t0)

        clients = [await signed_in(url) for _ in range(CLIENTS)]
        logs = [[] for _ in clients]
        stop = asyncio.Event()
        readers = [asyncio.create_task(collect(ws, log, stop)) for ws, log in zip(clients, logs)]

        # GO round trips: panic stops at once, GO starts again.
        trips = []
        for _ in range(20):
            mark = len(logs[0])
            await clients[0].send(json.dumps({"t": "panic"}))
            await until(logs[0], mark, lambda m: m.get("t") == "state" and not m["playing"])
            await asyncio.sleep(0.1)
            mark = len(logs[0])
            sent = time.monotonic()
            await clients[0].send(json.dumps({"t": "go"}))
            got = await until(logs[0], mark, lambda m: m.get("t") == "state" and m["playing"])
            trips.append((got - sent) * 1000)

        t1, c1 = time.monotonic(), main_thread_seconds(server.pid)
        await asyncio.sleep(seconds)
        busy_share = (main_thread_seconds(server.pid) - c1) / (time.monotonic() - t1)
        stop.set()
        await asyncio.gather(*readers)
        for ws in clients:
            await ws.close()

        # Compared from the first stop all of them saw: before it, each had
        # what came while the others were still signing in.
        def from_first_stop(log):
            texts = [json.dumps(m, sort_keys=True) for _, m in log]
            start = next(i for i, (_, m) in enumerate(log) if m.get("t") == "state" and not m["playing"])
            return texts[start:]
        sequences = [from_first_stop(log) for log in logs]
        same = all(s == sequences[0] for s in sequences)
        positions = sum(1 for _, m in logs[0] if m.get("t") == "pos")
        backwards = 0
        last = None
        for _, m in logs[0]:
            if m.get("t") == "state":
                last = None
            elif m.get("t") == "pos" and m["playing"] and m["section"] == 0:
                # A loop goes back by design; outside one, time only moves on.
                if last is not None and m["elapsed"] < last:
                    backwards += 1
                last = m["elapsed"]
            elif m.get("t") == "pos":
                last = None
        closed = sum(1 for log in logs if any(m.get("t") == "closed" for _, m in log))
        remote_share = max(0.0, busy_share - idle_share)

        print(f"clients {CLIENTS}, {seconds:.0f} s of a playing show through ostinel-cli serve (offline device)")
        print(f"GO -> state push (ms): median {statistics.median(trips):.2f}  worst {max(trips):.2f}  of {len(trips)}")
        print(f"pushes per client: {len(sequences[0])} ({positions} positions); identical on all clients: {same}; "
              f"elapsed going back: {backwards}; clients dropped: {closed}")
        print(f"main thread, share of one core: idle {idle_share * 100:.2f}%  with {CLIENTS} clients "
              f"{busy_share * 100:.2f}%  remote's cost {remote_share * 100:.2f}%")
        ok = same and backwards == 0 and closed == 0 and remote_share < 0.05
        print("verdict:", "PASS" if ok else "FAIL")
        return 0 if ok else 1
    finally:
        server.terminate()
        server.wait(timeout=30)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(asyncio.run(run(sys.argv[1], float(sys.argv[2]) if len(sys.argv) > 2 else 60.0)))
