#!/usr/bin/python3
"""A stand-in for the application's web remote: serves the page at "/" and
speaks its WebSocket protocol at "/ws" on the same port, with a small show
that plays on GO. Prints one JSON "ready" line carrying remoteURL, as
`ostinel-cli serve` does, then runs until killed."""
import argparse
import asyncio
import http
import json
import sys
import time

import websockets

PIN = "4711"
CUES = [("Walk-in Pad", "1:30", "4A7BD0", []), ("Groove 120", "2:08", "E8913A", ["Intro", "Vamp", "Outro"]),
        ("House to Half", "0:04", None, []), ("Act One Sting", "0:12", "#C94F6D", []),
        ("Rain Bed", "3:20", "2E9C8F", []), ("Spare Take", "0:45", None, []),
        ("Interval Music", "15:00", "7C5CC4", []), ("Closing Sting", "0:20", "C94F6D", [])]
SKIPPED = {6}
LOOP_AFTER = 1.0  # seconds into a cue with sections before it counts as in its first loop


class Show:
    def __init__(self):
        self.current, self.playing, self.started, self.exiting, self.jump = 1, False, 0.0, False, 0
        self.clients = set()

    def elapsed(self):
        return time.monotonic() - self.started if self.playing else 0.0

    def in_loop(self):
        return self.playing and bool(CUES[self.current - 1][3]) and self.elapsed() >= LOOP_AFTER

    def state(self):
        name, _, _, sections = CUES[self.current - 1]
        nxt = CUES[self.current][0] if self.current < len(CUES) else ""
        cues = []
        for n, (cname, length, color, _) in enumerate(CUES, 1):
            record = {"n": n, "name": cname, "len": length, "skip": n in SKIPPED}
            if color:
                record["color"] = color
            cues.append(record)
        return {"t": "state", "show": "Ostinel Demo", "setlist": "Friday", "cues": cues, "current": self.current,
                "preselected": 0, "cue": name, "next": nxt, "nextAutoplay": self.current == 2,
                "sections": sections, "sectionColors": ["#3D8BFD", "E8913A", "6FCF97"][:len(sections)],
                "playing": self.playing, "inLoop": self.in_loop(), "exiting": self.exiting, "mode": "show",
                "locked": False, "chasing": False}

    def pos(self):
        length = sum(int(p) * 60 ** i for i, p in enumerate(reversed(CUES[self.current - 1][1].split(":"))))
        e = self.elapsed()
        return {"t": "pos", "playing": self.playing, "elapsed": e, "remaining": max(0.0, length - e),
                "section": 2 if self.in_loop() else 0, "jump": self.jump, "preroll": 0.0}

    def act(self, msg):
        t, i = msg.get("t"), msg.get("i")
        if t == "go":
            if self.in_loop():
                self.exiting = True
            elif not self.playing:
                self.playing, self.started = True, time.monotonic()
        elif t in ("stop", "panic"):
            self.playing, self.exiting, self.jump = False, False, 0
        elif t == "next":
            self.current = min(len(CUES), self.current + 1)
        elif t == "previous":
            self.current = max(1, self.current - 1)
        elif t == "select" and isinstance(i, int) and 1 <= i <= len(CUES):
            self.current = i
        elif t == "section" and isinstance(i, int):
            self.jump = i
        print(json.dumps({"event": "message", "t": t}), flush=True)


async def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--page", required=True)
    parser.add_argument("--port", type=int, default=0)
    args = parser.parse_args()
    with open(args.page, "rb") as f:
        page = f.read()
    show = Show()

    def process_request(path, headers):
        if path in ("/", "/index.html"):
            return http.HTTPStatus.OK, [("Content-Type", "text/html; charset=utf-8"),
                                        ("Cache-Control", "no-store")], page
        if path.startswith("/ws"):
            return None
        return http.HTTPStatus.NOT_FOUND, [("Content-Type", "text/plain")], b"Not found"

    async def client(ws, _path=None):
        async for raw in ws:
            try:
                msg = json.loads(raw)
            except ValueError:
                continue
            if not isinstance(msg, dict):
                continue
            if msg.get("t") == "auth":
                if msg.get("pin") == PIN:
                    show.clients.add(ws)
                    await ws.send(json.dumps({"t": "auth", "ok": True, "proto": 1, "app": "mock"}))
                    await ws.send(json.dumps(show.state()))
                    await ws.send(json.dumps(show.pos()))
                else:
                    await ws.send(json.dumps({"t": "auth", "ok": False, "msg": "Wrong PIN."}))
            elif ws in show.clients:
                show.act(msg)
                websockets.broadcast(show.clients, json.dumps(show.state()))
        show.clients.discard(ws)

    async with websockets.serve(client, "127.0.0.1", args.port, process_request=process_request) as server:
        port = server.sockets[0].getsockname()[1]
        print(json.dumps({"event": "ready", "remoteURL": f"http://127.0.0.1:{port}/#pin={PIN}"}), flush=True)
        last = None
        while True:
            await asyncio.sleep(0.25)
            state = json.dumps(show.state())
            if state != last:
                last = state
                websockets.broadcast(show.clients, state)
            websockets.broadcast(show.clients, json.dumps(show.pos()))


if __name__ == "__main__":
    try:
        asyncio.run(main())
    except KeyboardInterrupt:
        sys.exit(0)
