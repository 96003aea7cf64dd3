// What the page knows of the station, and how it comes to know it: requests and one event stream.

export const state = {station: null, cameras: new Map(), plans: [], isConnected: false};

// What takes an engineer is not offered to an operator.
export const isEngineer = () => state.station?.role !== "operator";

// What the station refused or could not do, in words for a person; status 0: it does not answer.
export class Problem extends Error {
  constructor(status, text) {
    super(text);
    this.status = status;
  }
}

let isSignedOut = false;  // until the page begins anew
export async function call(method, path, body) {
  const options = {method, headers: {}};
  if (body !== undefined) {
    options.headers["Content-Type"] = "application/json";
    options.body = JSON.stringify(body);
  }
  let response;
  try {
    response = await fetch(`/api/v1${path}`, options);
  } catch {
    throw new Problem(0, "The station does not answer. The page looks for it by itself.");
  }
  if (response.ok) return response.json();
  const told = await response.json().catch(() => ({}));
  if (response.status === 401 && path !== "/sign-in") {
    isSignedOut = true;
    tell("sign-in", {});
  }
  throw new Problem(response.status, told.detail || told.title || response.statusText);
}
export const get = (path) => call("GET", path);

export function query(values) {
  const kept = Object.entries(values).filter(([, value]) => value !== "" && value !== undefined && value !== null);
  return kept.length ? `?${new URLSearchParams(kept)}` : "";
}

// Whom news is told: listener(kind, data), kinds of docs/station-api.md and "reload": everything may
// have become something else; "connection".
const listeners = new Set();
export function listen(listener) {
  listeners.add(listener);
  return () => listeners.delete(listener);
}
function tell(kind, data) {
  for (const each of [...listeners]) each(kind, data);
}

// What is asked for later counts: const isLatest = turn(); await ...; if (!isLatest()) return;
export function turns() {
  let latest = 0;
  return () => {
    const mine = ++latest;
    return () => mine === latest;
  };
}

// Whether an event came after another one of the same station's life.
function isAfter(id, other) {
  const [log, number] = id.split("-");
  const [otherLog, otherNumber] = other.split("-");
  return log === otherLog && Number(number) > Number(otherNumber);
}

// When the dialog's time is over, by this machine's clock.
function settle(screen) {
  if (screen) screen.until ??= screen.timeout_ms === null ? null : Date.now() + screen.timeout_ms;
}

function apply({kind, data}) {
  if (kind === "camera") state.cameras.set(data.camera.id, data.camera);
  if (kind === "screen" && state.cameras.has(data.camera)) {
    state.cameras.get(data.camera).screen = data.screen;
  }
  const run = data.camera && state.cameras.get(data.camera)?.run;
  if (run && run.id === data.run && data.done !== undefined) {
    for (const key of ["item", "done", "left"]) run[key] = data[key] ?? run[key];
    if (data.time_left_ms !== undefined) run.time_left_ms = data.time_left_ms;
    if (data.act !== "warns") run.waits = data.act === "waits" ? data.text : "";
  }
}

let readAt = "";       // the latest event that what was read knows of
let meanwhile = [];    // what came while it is read
let isLoading = false;
let isStale = false;
let retry = 0;
export async function reload() {
  isStale = true;
  clearTimeout(retry);
  if (isLoading) return;
  isLoading = true;
  try {
    while (isStale) {
      isStale = false;
      meanwhile = [];
      const [station, cameras, plans] =
        await Promise.all([get("/station"), get("/cameras"), get("/plans")]);
      state.station = station;
      cameras.cameras.forEach((each) => settle(each.screen));
      state.cameras = new Map(cameras.cameras.map((each) => [each.id, each]));
      state.plans = plans.plans;
      readAt = cameras.event;
      meanwhile.filter((each) => isAfter(each.id, readAt)).forEach(apply);
    }
  } catch (error) {
    connected(error.status === 401);
    // A hidden page reads anew when it is seen again.
    if (error.status !== 401 && !document.hidden) retry = setTimeout(reload, 2000);
    return;
  } finally {
    isLoading = false;
  }
  connected(true);
  tell("reload");
}

// Every window of this browser is somebody else's now: all begin anew.
export function signedIn() {
  channel.postMessage({kind: "signed-in"});
  location.reload();
}
export async function signOut() {
  try {
    await call("POST", "/sign-out");
    signedIn();
  } catch (error) {
    connected(false);
    announce(`You are still signed in: ${error.message}`);
  }
}

function connected(is) {
  if (state.isConnected === is) return;
  state.isConnected = is;
  tell("connection", {});
}

// Pages of one browser share one stream: who has the lock reads it and passes on what comes. A
// hidden page neither reads nor holds it; one that is seen again reads everything anew.
const kKinds = ["run", "attempt", "camera", "screen", "gap"];
const channel = new BroadcastChannel("station-events");
let lastEvent = "";
let leave = null;

function take(message) {
  if (message.id) lastEvent = message.id;
  if (message.kind === "gap" || message.kind === "opened") {
    connected(true);
    reload();
  } else if (message.kind === "lost") {
    connected(false);
  } else {
    connected(true);
    settle(message.data.screen ?? message.data.camera?.screen);
    if (isLoading) meanwhile.push(message);
    if (message.id !== readAt && !isAfter(readAt, message.id)) apply(message);  // else it is known
    tell(message.kind, message.data);
  }
}
function pass(message) {
  channel.postMessage(message);
  take(message);
}
channel.onmessage = (event) => {
  if (event.data.kind === "signed-in") location.reload();
  else if (!document.hidden) take(event.data);
};

// The station says at least every twenty seconds that it is there: where a network has gone without a
// word, silence is all that is heard.
const kLongestSilence = 50000;  // ms

function read(stopped) {
  let source;
  let pause = 1000;
  let timer;
  let watch;
  const hear = () => {
    clearTimeout(watch);
    watch = setTimeout(() => {
      source.close();
      pass({kind: "lost"});
      open();
    }, kLongestSilence);
  };
  const open = () => {
    source = new EventSource(`/api/v1/events${query({after: lastEvent})}`);
    hear();
    source.addEventListener("beat", hear);
    source.onopen = () => {
      pause = 1000;
      pass({kind: "opened"});
    };
    source.onerror = () => {
      pass({kind: "lost"});
      if (source.readyState !== EventSource.CLOSED) return;  // the browser tries again
      clearTimeout(watch);
      if (isSignedOut) return;
      reload();  // whose refusal says so, where it was refused since nobody is signed in any more
      timer = setTimeout(open, pause);
      pause = Math.min(2 * pause, 15000);
    };
    for (const kind of kKinds) {
      source.addEventListener(kind, (event) => {
        hear();
        pass({kind, id: event.lastEventId, data: JSON.parse(event.data)});
      });
    }
  };
  open();
  stopped.addEventListener("abort", () => {
    clearTimeout(timer);
    clearTimeout(watch);
    source.close();
  });
}

function follow() {
  if (document.hidden) {
    leave?.abort();
    leave = null;
    lastEvent = "";  // what comes meanwhile is no news when it is read anew
    return;
  }
  if (leave) return;
  leave = new AbortController();
  const {signal} = leave;
  reload();
  navigator.locks.request("station-events", {signal}, () => new Promise((resolve) => {
    signal.addEventListener("abort", resolve);
    read(signal);
  })).catch(() => {});
}

export function start() {
  document.addEventListener("visibilitychange", follow);
  follow();
}

// Each as an element of its own: the same words twice are said twice.
export function announce(text) {
  const announcer = document.getElementById("announcer");
  const line = document.createElement("p");
  line.textContent = text;
  announcer.append(line);
  while (announcer.childElementCount > 3) announcer.firstChild.remove();
}

// Who tests and which plan: as they were chosen last at this browser.
export const chosen = {
  get operator() { return localStorage.getItem("operator") ?? ""; },
  set operator(value) { localStorage.setItem("operator", value); },
  get hasPlan() { return localStorage.getItem("plan") !== null; },
  get plan() { return localStorage.getItem("plan") ?? "quick"; },
  set plan(value) { localStorage.setItem("plan", value); },
};
