#!/usr/bin/env python3
"""What watchers cost a run, and how soon the page can be used. Called by scripts/bench page.

    bench/page_bench.py BIN_FOLDER

Interleaved pairs of a run on a camera on the real clock: nobody watches, fifty event streams are read by one client.
"""
import json
import os
import pathlib
import selectors
import shutil
import socket
import sys
import tempfile
import threading
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "unittests" / "page"))
import page_test
from selenium.webdriver.support.ui import WebDriverWait

PAIRS = 5
STREAMS = 50


def summary(values, digits=2):
    middle = sorted(values)[len(values) // 2]
    return f"{middle:.{digits}f} ({min(values):.{digits}f} to {max(values):.{digits}f})"


class Watchers:
    """Fifty streams, each read as soon as something comes."""

    def __init__(self, port):
        self.selector = selectors.DefaultSelector()
        self.bytes = 0
        for _ in range(STREAMS):
            stream = socket.create_connection(("127.0.0.1", port))
            stream.sendall(b"GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
            self.selector.register(stream, selectors.EVENT_READ)
        self.ends = False
        self.thread = threading.Thread(target=self.read)
        self.thread.start()

    def read(self):
        while not self.ends:
            for key, _ in self.selector.select(0.1):
                self.bytes += len(key.fileobj.recv(65536))

    def leave(self):
        self.ends = True
        self.thread.join()
        for key in list(self.selector.get_map().values()):
            key.fileobj.close()
        return self.bytes


def cpu_seconds(process):
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def watched_runs(station, api):
    lengths, cpus, taken = ([], []), ([], []), []
    for _ in range(PAIRS):
        for watched in (0, 1):
            watchers = Watchers(station.port) if watched else None
            before, began = cpu_seconds(station.process), time.monotonic()
            run = api("POST", "/runs", {"camera": "KY", "plan": "bench"})["id"]
            while api("GET", "/cameras/KY")["run"]:
                time.sleep(0.02)
            lengths[watched].append(time.monotonic() - began)
            cpus[watched].append(cpu_seconds(station.process) - before)
            if watchers:
                taken.append(watchers.leave())
            assert api("GET", f"/runs/{run}")["outcome"] == "passed"
    ratios = [after / before for before, after in zip(*lengths)]
    print(f"{STREAMS} streams beside a run of {summary(lengths[0])} s: {summary(ratios, 3)} times as long; "
          f"each took {min(taken) // STREAMS} bytes or more")
    print(f"the station's CPU seconds meanwhile: {summary(cpus[0])} without, {summary(cpus[1])} with them")


def first_views(browser, origin):
    """From the navigation's beginning to the first view with its cameras, as Chromium's trace has it."""
    times = []
    for _ in range(PAIRS):
        browser.get("about:blank")
        browser.execute_cdp_cmd("Network.clearBrowserCache", {})
        browser.get_log("performance")
        browser.get(f"{origin}/")
        WebDriverWait(browser, page_test.PATIENCE, 0.05).until(lambda _: browser.execute_script(
            "return document.querySelector('.tile') && performance.getEntriesByName('usable').length"))
        marks = {}
        while "usable" not in marks:  # the trace comes in pieces, at each navigation
            browser.get("about:blank")
            for line in browser.get_log("performance"):
                message = json.loads(line["message"])["message"]
                if message["method"] != "Tracing.dataCollected":
                    continue
                event = message["params"]
                if event["name"] == "usable":
                    marks.setdefault("usable", event["ts"])
                if event["name"] == "navigationStart" and event["args"]["data"].get("documentLoaderURL", "").startswith(origin):
                    marks["began"] = event["ts"]
        times.append((marks["usable"] - marks["began"]) / 1000)
    print(f"first view with its cameras: {summary(times, 0)} ms")


def weight(browser, origin):
    browser.get(f"{origin}/")
    sizes = dict(browser.execute_async_script("""
        const done = arguments[0];
        const names = performance.getEntriesByType('resource').map((each) => each.name)
          .filter((each) => !each.includes('/api/') && !each.startsWith('data:'));
        Promise.all(['/', '/chart.js', ...names].map((each) => fetch(each).then((reply) => reply.arrayBuffer())
          .then((bytes) => [each, bytes.byteLength]))).then(done);"""))
    chart = sizes.pop("/chart.js")
    print(f"the page: {sum(sizes.values()) / 1024:.0f} KiB in {len(sizes)} files, "
          f"and Chart.js of {chart / 1024:.0f} KiB for the statistics")


def main():
    page_test.be_alone()
    page_test.BIN = pathlib.Path(sys.argv[1]).resolve()
    folder = pathlib.Path(tempfile.mkdtemp())
    (folder / "bench.toml").write_text(
        'title = "Bench"\nitems = ["eeprom", "battery", "tempsens", "shutter", "focus", "clock"]\n')
    camera = page_test.start_camera(folder, "KY", "KY")
    (folder / "station.toml").write_text(
        f'data = "data"\nplans = "."\n[[camera]]\nname = "KY"\naddress = "127.0.0.1:{camera.port}"\n')
    station = page_test.Program(["diagor-station", "--config", str(folder / "station.toml"), "serve", "--port", "0"],
                                "http://")
    origin = f"http://127.0.0.1:{station.port}"

    def api(method, path, body=None):
        request = urllib.request.Request(f"{origin}/api/v1{path}", method=method,
                                         data=None if body is None else json.dumps(body).encode())
        with urllib.request.urlopen(request) as reply:
            return json.load(reply)

    try:
        while not api("GET", "/cameras/KY")["serial"]:
            time.sleep(0.02)
        watched_runs(station, api)
        browser = page_test.start_browser(folder, traced="blink.user_timing")
        weight(browser, origin)
        first_views(browser, origin)
        browser.quit()
    finally:
        for each in [station, camera]:
            each.end()
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
