"""The page in a real browser, on real-clock cameras, with nothing but the loopback address.

    unittests/page/page_test.py BIN_FOLDER [TEST...]
"""
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.request

from selenium import webdriver
from selenium.common.exceptions import (ElementNotInteractableException, NoSuchElementException,
                                        StaleElementReferenceException, TimeoutException)
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

BIN = pathlib.Path()
PATIENCE = float(os.environ.get("PAGE_PATIENCE", "300"))  # s: states are waited for, a slow machine has its time
HOSTILE = "<img src=x onerror=document.title='owned'>"
SERIAL = ".version.product.serial=<img src=x>"
# With what stands there when a view shows what it has.
VIEWS = {"": "camera-tile .state", "camera/left": ".glass img[src]", "camera/right": "failure-card", "history": "tbody tr",
         "statistics": "canvas", "desk/left": "details"}

# Of every text that is seen: its contrast by the WCAG formula, where it is below what AA asks.
CONTRAST = """
const light = (text) => { const [r, g, b] = text.match(/[\\d.]+/g).slice(0, 3).map((each) => {
  const part = each / 255; return part <= 0.03928 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4; });
  return 0.2126 * r + 0.7152 * g + 0.0722 * b; };
const behind = (element) => { for (let each = element; each; each = each.parentElement) {
  const colour = getComputedStyle(each).backgroundColor;
  if (!/, 0\\)$/.test(colour)) return colour; } return 'rgb(255, 255, 255)'; };
const found = [];
for (const element of document.querySelectorAll('body *')) {
  const hasText = [...element.childNodes].some((each) => each.nodeType === 3 && each.data.trim());
  if (!hasText || !element.checkVisibility() || element.closest('.unseen, .skip, :disabled, noscript')) continue;
  const style = getComputedStyle(element);
  const [a, b] = [light(style.color), light(behind(element))];
  const ratio = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  const large = parseFloat(style.fontSize) >= 24 || (parseFloat(style.fontSize) >= 18.66 && style.fontWeight >= 700);
  if (ratio < (large ? 3 : 4.5)) found.push(`${element.textContent.trim().slice(0, 40)}: ${ratio.toFixed(2)}`);
}
return found;
"""


class Program:
    """One of the project's programs; says what it wrote on standard error until a mark came."""

    def __init__(self, words, mark, **environment):
        self.process = subprocess.Popen([str(BIN / words[0]), *words[1:]], stdout=subprocess.DEVNULL,
                                        stderr=subprocess.PIPE, text=True, env={**os.environ, **environment})
        self.said = ""
        for line in self.process.stderr:
            self.said += line
            if mark in line:
                break
        # Read on, so that it is never stopped by a full pipe.
        self.reader = threading.Thread(target=self.process.stderr.read, daemon=True)
        self.reader.start()
        self.port = int(re.findall(r":(\d+)", self.said)[-1])

    def end(self, how=signal.SIGKILL):
        self.process.send_signal(how)
        code = self.process.wait(PATIENCE)
        self.reader.join()
        self.process.stderr.close()
        return code


class Wire:
    """The station at another port, until the wire is cut."""

    def __init__(self, port):
        self.to = port
        self.streams = 0  # of events, that are open now
        self.lock = threading.Lock()
        self.port = 0
        self.mend()

    def mend(self):
        self.ends = []
        self.listener = socket.create_server(("127.0.0.1", self.port))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, args=(self.listener,), daemon=True).start()

    def cut(self):
        with self.lock:
            for each in [self.listener, *self.ends]:
                try:
                    each.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass  # has ended by itself
                each.close()

    def accept(self, listener):
        try:
            while True:
                client = listener.accept()[0]
                station = socket.create_connection(("127.0.0.1", self.to))
                with self.lock:
                    self.ends += [client, station]
                for pair in [(client, station), (station, client)]:
                    threading.Thread(target=self.pump, args=pair, daemon=True).start()
        except OSError:
            pass  # cut

    def pump(self, source, sink):
        is_stream = False
        try:
            while data := source.recv(65536):
                if not is_stream and data.startswith(b"GET /api/v1/events"):
                    is_stream = True
                    with self.lock:
                        self.streams += 1
                sink.sendall(data)
            sink.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        if is_stream:
            with self.lock:
                self.streams -= 1


def start_camera(folder, name, variant, port=0, clock="real", knobs=""):
    return Program(["diagor", "-p", str(port)], "http://", DIAGOR_VARIANT=variant, DIAGOR_CLOCK=clock,
                   DIAGOR_ROOT=str(folder / name), DIAGOR_KNOBS=knobs)


# traced: categories of its own trace, which the performance log then holds.
def start_browser(folder, traced=""):
    options = webdriver.ChromeOptions()
    for word in ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--window-size=1280,800",
                 f"--user-data-dir={folder / 'browser'}", "--disable-background-networking", "--no-first-run",
                 "--ignore-certificate-errors"]:
        options.add_argument(word)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    options.add_experimental_option("prefs", {"download.default_directory": str(folder)})
    if traced:
        options.add_experimental_option("perfLoggingPrefs", {"traceCategories": traced})
    return webdriver.Chrome(options=options)


def be_alone():
    """Nothing but this machine, where that can be had."""
    if os.geteuid() == 0 and "DIAGOR_ALONE" not in os.environ:
        os.environ["DIAGOR_ALONE"] = "1"
        os.execvp("unshare", ["unshare", "-n", "sh", "-c", 'ip link set lo up && exec "$@"', "sh", sys.executable, *sys.argv])


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        cls.cameras = {"left": start_camera(cls.folder, "left", "KY"), "right": start_camera(cls.folder, "right", "R8", knobs=SERIAL)}
        plans = cls.folder / "plans"
        plans.mkdir()
        (plans / "short.toml").write_text('title = "Short"\nitems = ["battery", "eeprom.main"]\noperator = true\n')
        (plans / "keys.toml").write_text('title = "Keys %s"\nitems = ["battery", "buttons.buttons"]\n' % HOSTILE)
        (plans / "look.toml").write_text(
            'title = "Look"\nitems = ["touchscreen.touchscreen", "lcd_i.bitmaps", "viewFinder_i.bitmaps", "laser.laser"]\n')
        (cls.folder / "station.toml").write_text('name = "bench <b>"\ndata = "data"\nplans = "plans"\n' + "".join(
            f'[[camera]]\nname = "{name}"\naddress = "127.0.0.1:{camera.port}"\n' for name, camera in cls.cameras.items()))
        cls.station = cls.start_station(0)
        cls.origin = f"http://127.0.0.1:{cls.station.port}"
        cls.browser = start_browser(cls.folder)

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        for each in [cls.station, *cls.cameras.values()]:
            each.end()
        shutil.rmtree(cls.folder)

    @classmethod
    def start_station(cls, port):
        return Program(["diagor-station", "--config", str(cls.folder / "station.toml"), "serve", "--port", str(port)], "http://")

    # What is seen, and what a person does.
    def open(self, view):
        self.browser.get("about:blank")
        self.browser.get(f"{self.origin}/#/{view}")

    def wait(self, what, meaning):
        return WebDriverWait(self.browser, PATIENCE, 0.05).until(lambda _: what(), meaning)

    def text(self, css="main"):
        return self.browser.execute_script("return document.querySelector(arguments[0])?.innerText ?? ''", css)

    def wait_for(self, words, css="main"):
        try:
            self.wait(lambda: words in self.text(css), "")
        except TimeoutException:
            self.fail(f"no {words} in {css}: {self.text('body')}")

    # Hits every key that the dialog on a camera's screen still wants.
    def answer(self, name):
        dialog = self.api("GET", f"/cameras/{name}/screen")
        for control in dialog["controls"] if dialog else []:
            if control["kind"] == "button" and not control["hit"]:
                self.api("PUT", f"/cameras/{name}/keys", {"key": control["label"]})

    def click(self, css, words=""):
        def done():
            for each in self.browser.find_elements(By.CSS_SELECTOR, css):
                try:
                    if words in each.text and each.is_enabled():
                        each.click()
                        return True
                except (StaleElementReferenceException, ElementNotInteractableException):
                    pass  # is drawn anew
            return False
        self.wait(done, f"{css} {words}")

    def fill(self, css, words):
        self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, css), css)
        field = self.browser.find_element(By.CSS_SELECTOR, css)
        field.clear()
        field.send_keys(words)

    def choose(self, css, words):
        def done():
            try:
                Select(self.browser.find_element(By.CSS_SELECTOR, css)).select_by_visible_text(words)
                return True
            except (NoSuchElementException, StaleElementReferenceException):  # is drawn anew
                return False
        self.wait(done, f"{words} in {css}")

    def api(self, method, path, body=None):
        request = urllib.request.Request(f"{self.origin}/api/v1{path}", method=method,
                                         data=None if body is None else json.dumps(body).encode())
        with urllib.request.urlopen(request) as reply:
            return json.load(reply)

    def idle(self, *names):
        for name in names:
            self.wait(lambda: self.api("GET", f"/cameras/{name}")["state"] in ("idle", "failed"), name)

    # Whether what is seen now can be read, hit and named by everybody.
    def look(self, where):
        self.assertEqual(self.browser.execute_script(CONTRAST), [], where)
        low = self.browser.execute_script(
            "return [...document.querySelectorAll('button, .button, select, input:not([type=checkbox]), nav a')]"
            ".filter((each) => each.checkVisibility() && each.offsetHeight < 44).map((each) => each.outerHTML)")
        self.assertEqual(low, [], where)
        nodes = self.browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        for node in nodes:
            role = node.get("role", {}).get("value")
            can_be_chosen = any(each["name"] == "focusable" and each["value"]["value"] for each in node.get("properties", []))
            if (can_be_chosen or role in ("img", "progressbar")) and role not in ("RootWebArea", "main"):
                self.assertNotIn(role, ("generic", "none"), f"{where}: {node}")
                self.assertTrue(node.get("name", {}).get("value"), f"{where}: {node}")

    def test_a_scanned_camera_fails_and_is_mended(self):
        serial = self.api("GET", "/cameras/right")["serial"]
        self.api("PUT", "/cameras/right/knobs/desk.bus.i2c1.ae.answers", {"value": "false"})
        self.open("")
        self.choose("#plan", "Short")
        self.fill("#operator", "")
        self.fill("#scan", serial + Keys.ENTER)
        self.wait_for("operator", ".problem")
        self.type(HOSTILE)
        self.fill("#scan", "4" * 60 + Keys.TAB)
        self.wait_for("4" * 60, ".problem")
        # The next one takes the place of what was refused.
        self.type(serial + Keys.ENTER)
        self.wait_for("failed", ".tile:nth-child(2) .state")
        self.wait_for("failed", "#announcer")
        self.click(".tile:nth-child(2) h2 a")
        self.wait_for("Causes, most likely first", "failure-card")
        self.click("failure-card summary")
        self.wait_for("i2c", "failure-card details")
        self.click("failure-card button", "Note")
        self.fill("failure-card textarea", HOSTILE)
        self.click("failure-card button", "Keep")
        self.wait_for("Kept.", "failure-card")
        self.api("PUT", "/cameras/right/knobs/desk.bus.i2c1.ae.answers", {"value": "true"})
        self.click("failure-card button", "Test it again")
        self.wait_for("passed", "main section .state")
        self.open("history?outcome=failed")
        self.wait_for(HOSTILE)
        self.click("td a")
        self.wait(lambda: self.browser.find_element(By.CSS_SELECTOR, "#note").get_attribute("value") == HOSTILE, "the note")
        self.assertNotIn("owned", self.browser.title)
        self.open("history")
        self.click("#save")
        self.wait(lambda: (self.folder / "runs.csv").exists(), "the export")
        self.assertIn(serial, (self.folder / "runs.csv").read_text())
        self.idle("left")
        self.api("POST", "/runs", {"camera": "left", "items": ["battery"]})
        self.idle("left")
        self.open("statistics?plan=Short")
        self.choose("#trend", "battery.battery voltage")
        self.click("button", "Draw")
        self.wait(lambda: len(self.browser.find_elements(By.CSS_SELECTOR, "canvas")) == 3, "three plots")
        self.wait_for("3700 mV")
        # Wherever the focus is, a scan is one, and no name, choice or key.
        for view, css in [("", "#operator"), ("", "#plan"), ("camera/left", "h1"), ("history", "nav a")]:
            self.idle("right")
            before = self.api("GET", "/runs?limit=1")["runs"][0]["id"]
            self.open(view)
            self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, css), css)
            self.wait_for("Scan" if view == "" else "", "main")
            self.browser.execute_script("document.querySelector(arguments[0]).focus(); for (const key of [...arguments[1], 'Enter']) "
                                        "document.activeElement.dispatchEvent(new KeyboardEvent('keydown', {key, bubbles: true, cancelable: true}));",
                                        css, serial)
            self.wait(lambda: self.api("GET", "/runs?limit=1")["runs"][0]["id"] != before, f"a run, scanned at {css}")
            run = self.api("GET", "/runs?limit=1")["runs"][0]
            self.assertEqual((run["camera"]["serial"], run["operator"], run["plan"]), (serial, HOSTILE, "Short"))

    def type(self, *keys):
        ActionChains(self.browser).send_keys(*keys).perform()

    # Goes on by Tab until such an element is chosen.
    def tab_to(self, css):
        def is_there():
            if self.browser.execute_script("return document.activeElement.matches(arguments[0])", css):
                return True
            self.type(Keys.TAB)
            return False
        self.wait(is_there, css)

    # From the scan to the report.
    def test_an_operator_works_by_the_keyboard_alone(self):
        self.idle("left")
        self.open("")
        self.wait_for("left", ".tile")
        self.tab_to("#plan")
        self.type("Keys")
        self.tab_to("form button")
        self.type(self.api("GET", "/cameras/left")["serial"] + Keys.ENTER)
        self.wait_for("Act now", ".tile")
        self.tab_to(".tile:first-child .button")
        self.type(Keys.ENTER)
        self.wait_for(" s left", ".seconds")
        self.wait(lambda: self.browser.execute_script("return document.activeElement.matches('.glass')"), "the screen has the keys")
        self.type(Keys.ARROW_UP)
        self.wait_for("✓ Up", ".keypad")
        while "Still missing" in self.text(".missing"):
            self.tab_to(".keypad button:not(.hit)")
            key = self.browser.execute_script("return document.activeElement.id")
            self.type(Keys.ENTER)
            self.wait(lambda: not self.browser.execute_script(
                "const key = document.getElementById(arguments[0]); return key && !key.classList.contains('hit')", key), key)
        self.wait_for("passed", "main section .state")
        self.tab_to("main section a")
        self.type(Keys.ENTER)
        self.wait_for("Every attempt")
        self.wait_for("passed", ".big")

    # Touches a pixel of the camera's screen, as it is seen.
    def tap(self, x, y):
        x, y = self.browser.execute_async_script(
            "const picture = () => document.querySelector('.glass img'); picture().scrollIntoView({block: 'center'});"
            "const [x, y, done] = arguments; requestAnimationFrame(() => requestAnimationFrame(() => {"
            "  const seen = picture().getBoundingClientRect(); done([seen.left + (x + 0.5) / picture().naturalWidth * seen.width,"
            "  seen.top + (y + 0.5) / picture().naturalHeight * seen.height]); }))", x, y)
        for kind in ["mousePressed", "mouseReleased"]:
            self.browser.execute_cdp_cmd("Input.dispatchMouseEvent", {"type": kind, "x": x, "y": y, "button": "left", "clickCount": 1})

    def see(self, width, scale):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": 800, "deviceScaleFactor": scale, "mobile": False})

    def test_a_screen_is_touched_and_looked_at(self):
        self.idle("left")
        self.open("camera/left")
        self.choose("#plan", "Look")
        self.click("button", "Start")
        self.wait_for("Hit me! 9", ".missing")
        self.wait(lambda: self.browser.execute_script("return document.querySelector('.glass img').naturalWidth") > 0, "a picture")
        targets = [each for each in self.api("GET", "/cameras/left/screen")["controls"] if each["kind"] == "button"]
        # Just within the corners, at several zooms: those, and no others.
        for index, target in enumerate(targets):
            self.see(*[(1280, 1), (640, 2), (390, 3)][index % 3])
            far = index % 2
            self.tap(target["x"] + (target["width"] - 6 if far else 5), target["y"] + (target["height"] - 6 if far else 5))
            missing = ", ".join(f"Hit me! {number}" for number in range(index + 2, len(targets) + 1))
            self.wait_for(f"Still missing: {missing}" if missing else "All done", ".missing")
        self.see(1280, 1)
        self.wait_for("screen as it should be", ".beside")
        self.click(".keypad button", "Error")
        self.wait_for("LCD Test FAILED", ".beside")
        self.click("#go-on")
        self.wait_for("viewfinder as it should be", ".beside")
        self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, ".glass img[src*='display=viewfinder']"), "the viewfinder")

        def is_through():
            self.browser.execute_script(
                "[...document.querySelectorAll('.keypad button')].find((each) => ['OK', 'Go on'].includes(each.innerText))?.click()")
            return self.browser.find_elements(By.CSS_SELECTOR, "#laser")
        self.wait(is_through, "the next test")
        self.click("#laser")
        self.wait_for("failed", "main section .state")
        self.assertEqual(len(self.browser.find_elements(By.CSS_SELECTOR, "failure-card")), 1)
        self.click("failure-card summary")
        self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, "failure-card img"), "what he saw")

    # Two windows of one browser share one stream; what it misses is made up for.
    def test_a_stream_that_was_cut_misses_nothing(self):
        self.idle("left")
        wire = Wire(self.station.port)
        self.origin = f"http://127.0.0.1:{wire.port}"
        first = self.browser.current_window_handle
        self.open("camera/left")
        self.wait_for("battery", ".groups")
        self.browser.switch_to.new_window("window")
        self.open("")
        self.wait_for("left", ".tile")
        self.assertEqual(wire.streams, 1)
        run = self.api("POST", "/runs", {"camera": "left", "items": ["buttons.buttons", "battery"], "operator": "Ada"})
        self.wait_for("waits for the operator", ".tile")
        wire.cut()
        self.wait_for("looking for it", "#connection")
        apart, self.origin = self.origin, f"http://127.0.0.1:{self.station.port}"
        while self.api("GET", f"/runs/{run['id']}")["outcome"] == "running":
            self.answer("left")
        self.origin = apart
        wire.mend()
        second = self.browser.current_window_handle
        for window in [first, second]:
            self.browser.switch_to.window(window)
            self.wait(lambda: not self.text("#connection"), "the station is there again")
            self.wait_for("passed", ".tile, main section .state")
            seen = self.text("main")
            self.browser.refresh()
            self.wait(lambda: self.text("main") == seen, f"the same after a reload: {seen}")
            if window == first:
                self.browser.close()
        # Who is left has the stream, and nobody while the window is not seen; then it shows what has come meanwhile.
        self.wait(lambda: wire.streams == 1, "its heir")
        self.browser.minimize_window()
        self.wait(lambda: wire.streams == 0, "nobody looks")
        run = self.api("POST", "/runs", {"camera": "left", "items": ["battery"]})
        self.idle("left")
        self.browser.set_window_size(1280, 800)
        self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, f".tile a[href='#/run/{run['id']}']"), "the run")
        self.assertEqual(wire.streams, 1)
        wire.cut()

    def test_a_desk_camera_is_broken_mended_and_operated(self):
        self.idle("left")
        self.open("desk/left")
        self.click("summary", "Real-time clock")
        self.click(".knob button", "Break: the clock")
        rate = lambda: self.browser.execute_script("return document.getElementById('knob-desk.rtc.rate')?.value")
        self.wait(lambda: rate() == "0", "it is broken")
        self.fill("[id='knob-desk.rtc.rate']", "1000" + Keys.ENTER)
        self.wait_for("does not take", ".problem")
        self.click("button", "Restore")
        self.wait(lambda: rate() == "1", "it is mended")
        self.click("#auto")
        self.wait_for("desk.operator.mode is auto")
        run = self.api("POST", "/runs", {"camera": "left", "items": ["laser.laser"]})["id"]
        self.wait(lambda: self.api("GET", f"/runs/{run}")["outcome"] == "passed", "somebody presses the laser's button")
        self.click("#auto")
        self.wait_for("desk.operator.mode is none")

    def test_a_run_is_ended_and_goes_on(self):
        self.idle("left")
        self.open("camera/left")
        self.choose("#plan", f"Keys {HOSTILE}")
        self.click("button", "Start")
        self.wait_for("Still missing: ", ".missing")
        self.click("#stop")
        self.wait_for("incomplete", "main section .state")
        run = self.api("GET", "/cameras/left")["last_run"]["id"]
        self.open(f"run/{run}")
        self.wait_for("interrupted")
        # The camera is still at it, and is asked again until the dialog has ended.
        self.answer("left")
        self.click("#resume")
        self.wait_for("of 2 tests")
        self.click("main a", "To the camera")
        self.wait_for("Still missing: ", ".missing")
        self.click("#abort")
        self.answer("left")
        self.idle("left")

    def test_the_page_comes_back_by_itself(self):
        self.idle("left", "right")
        self.open("")
        self.wait_for("right", ".tile:nth-child(2)")
        self.assertEqual(self.station.end(signal.SIGTERM), 0)
        self.wait_for("looking for it", "#connection")
        port = self.station.port
        type(self).station = self.start_station(port)
        self.wait(lambda: not self.text("#connection"), "the station is there again")
        run = self.api("POST", "/runs", {"camera": "right", "items": ["battery"], "operator": "Ada"})
        self.idle("right")
        self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, f".tile a[href='#/run/{run['id']}']"), "the run")
        camera = self.cameras["right"]
        camera.end()
        self.wait_for("not reachable", ".tile:nth-child(2)")
        self.cameras["right"] = start_camera(self.folder, "right", "R8", camera.port, knobs=SERIAL)
        self.wait(lambda: "not reachable" not in self.text(".tile:nth-child(2)"), "the camera is there again")

    def test_everybody_can_use_it(self):
        self.idle("left", "right")
        self.api("PUT", "/cameras/right/knobs/desk.bus.i2c1.ae.answers", {"value": "false"})
        failing = self.api("POST", "/runs", {"camera": "right", "items": ["eeprom.main", "battery"], "operator": HOSTILE})
        waiting = self.api("POST", "/runs", {"camera": "left", "items": ["buttons.buttons"], "operator": HOSTILE})
        self.idle("right")
        self.api("PUT", "/cameras/right/knobs/desk.bus.i2c1.ae.answers", {"value": "true"})
        self.wait(lambda: self.api("GET", "/cameras/left")["screen"], "a dialog")
        for scheme, width, scale in [("light", 1280, 1), ("dark", 390, 1), ("light", 640, 2)]:
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
            self.see(width, scale)
            for view, css in [*VIEWS.items(), (f"run/{failing['id']}", "failure-card")]:
                where = f"{view or 'bench'}, {scheme}, {width}"
                self.open(view)
                self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, css), where)
                if css in ("failure-card", "details"):
                    self.click(f"{css} summary")
                    self.wait_for("Records" if css == "failure-card" else "From", "main")
                self.look(where)
                self.assertLessEqual(self.browser.execute_script("return document.documentElement.scrollWidth"), width, where)
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
        self.api("POST", f"/runs/{waiting['id']}/abort")
        self.answer("left")

    def test_who_is_elsewhere_signs_in(self):
        self.idle("left")
        folder = self.folder / "open"
        folder.mkdir()
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
                        "-subj", "/CN=localhost", "-keyout", folder / "key.pem", "-out", folder / "certificate.pem"],
                       check=True, capture_output=True)
        (folder / "station.toml").write_text(
            'name = "open"\ndata = "data"\nplans = "../plans"\nlisten = "0.0.0.0:1"\ncertificate = "certificate.pem"\n'
            f'key = "key.pem"\nhosts = ["localhost"]\n[[camera]]\nname = "left"\naddress = "127.0.0.1:{self.cameras["left"].port}"\n')
        words = ["--config", str(folder / "station.toml")]
        subprocess.run([BIN / "diagor-station", *words, "user", "add", "Ada", "--role", "administrator"], check=True,
                       input="long enough\n", text=True, capture_output=True)
        station = Program(["diagor-station", *words, "serve", "--port", "0"], "https://")
        self.addCleanup(station.end)
        self.origin = f"https://localhost:{station.port}"

        def sign_in(name, password):
            self.fill("#name", name)
            self.fill("#password", password + Keys.ENTER)

        self.open("users")
        self.wait_for("Sign in", "h1")
        self.assertEqual(self.text("#connection"), "")
        self.look("sign in")
        sign_in("Ada", "guessed wrong")
        self.wait_for("wrong", ".problem")
        sign_in("Ada", "long enough")
        self.wait_for("Ada, administrator", "#who")
        self.wait_for("Users", "h1")
        self.wait_for("Ada", "tbody")
        # Everything is read anew, as after a restart of the station.
        self.browser.execute_script("performance.clearMarks(); new BroadcastChannel('station-events').postMessage({kind: 'opened'})")
        self.wait(lambda: self.browser.execute_script("return performance.getEntriesByName('usable').length"), "another reading")
        self.look("users")
        self.fill("#new-name", HOSTILE)
        self.fill("#new-password", "good enough" + Keys.ENTER)
        self.wait_for(f"{HOSTILE} may sign in as operator.")
        typed = "[aria-label='Another password for Ada']"
        self.fill(typed, "half of it")
        for role in ["engineer", "operator"]:
            self.choose("tbody select", role)
            self.wait_for(f"{HOSTILE} is {role} now.")
        self.assertEqual(self.browser.find_element(By.CSS_SELECTOR, typed).get_attribute("value"), "half of it")
        self.click("#sign-out")
        self.wait_for("Sign in", "h1")
        sign_in(HOSTILE, "good enough")
        self.wait_for(f"{HOSTILE}, operator", "#who")
        self.wait_for("takes the role administrator", ".problem")  # the view is an administrator's
        self.open("camera/left")
        self.wait(lambda: self.browser.find_element(By.ID, "operator").get_attribute("value") == HOSTILE, "who tests")
        # What takes an engineer is not offered.
        self.assertFalse(self.browser.find_element(By.ID, "test-test.items.battery.battery").is_enabled())
        self.assertFalse(self.browser.find_element(By.ID, "to-desk").is_displayed())
        self.choose("#plan", "Short")
        self.click("button", "Start")
        self.wait_for("passed", "main section .state")
        self.assertNotIn("owned", self.browser.title)
        # Whoever is disabled is shown the door, wherever he is.
        subprocess.run([BIN / "diagor-station", *words, "user", "disable", HOSTILE], check=True, capture_output=True)
        self.click("nav a", "History")
        self.wait_for("Sign in", "h1")

    def tearDown(self):
        for line in self.browser.get_log("performance"):
            message = json.loads(line["message"])["message"]
            if message["method"] != "Network.requestWillBeSent":
                continue
            url = message["params"]["request"]["url"]
            if url.startswith(("http", "ws")):
                self.assertTrue(url.startswith(self.origin), url)
                self.assertFalse(url.endswith("/x"), "a text was taken for markup")
        unwanted = [each["message"] for each in self.browser.get_log("browser")
                    if each["level"] == "SEVERE" and "Failed to load resource" not in each["message"]]
        self.assertEqual(unwanted, [])


if __name__ == "__main__":
    be_alone()
    BIN = pathlib.Path(sys.argv[1]).resolve()
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
