// The page: which view the address names, and what every view has.
import {h, update} from "./dom.js";
import {announce, chosen, isEngineer, listen, signOut, start, state} from "./station.js";
import {bench} from "./bench.js";
import {camera} from "./camera.js";
import {desk} from "./desk.js";
import {history} from "./history.js";
import {run} from "./run.js";
import {onScan} from "./scan.js";
import {signIn} from "./sign_in.js";
import {statistics} from "./statistics.js";
import {users} from "./users.js";

// Each makes {title, element, onNews(kind, data), close()} of the rest of the address and its query.
const kViews = {"": bench, camera, run, history, statistics, desk, users};
let view = null;
let isSignedOut = false;

function decoded(part) {
  try {
    return decodeURIComponent(part);
  } catch {
    return part;  // typed so
  }
}

function show() {
  const [path, search] = location.hash.replace(/^#\/?/, "").split("?");
  const [name, ...rest] = path.split("/");
  const make = isSignedOut ? signIn : kViews[name] ?? bench;
  view?.close?.();
  view = make(rest.map(decoded).join("/"), new URLSearchParams(search ?? ""));
  document.getElementById("main").replaceChildren(h("h1", {tabindex: "-1"}, view.title), view.element);
  document.title = `${view.title} – ${state.station?.name ?? "Test station"}`;
  for (const link of document.querySelectorAll("nav a")) {
    const isHere = link.getAttribute("href").replace(/^#\/?/, "") === (name in kViews ? name : "");
    if (isHere) link.setAttribute("aria-current", "page");
    else link.removeAttribute("aria-current");
  }
  view.onNews?.("reload");
  (view.element.querySelector("[data-first]") ?? document.querySelector("h1")).focus({preventScroll: true});
}

// Nobody signs in at a station that its own machine alone can reach.
function drawWho() {
  const {who, role} = state.station;
  if (who && who !== chosen.operator) {
    chosen.operator = who;
    show();
  }
  document.getElementById("to-users").hidden = !who || role !== "administrator";
  update(document.getElementById("who"), ...(who ? [`${who}, ${role} `, h("button", {id: "sign-out", onclick: signOut}, "Sign out")] : []));
}

listen((kind, data) => {
  if (kind === "sign-in") {
    if (isSignedOut) return;
    isSignedOut = true;
    document.querySelector("nav").hidden = true;
    document.getElementById("who").replaceChildren();
    document.getElementById("connection").replaceChildren();
    show();
    return;
  }
  if (kind === "reload") {
    document.getElementById("station").textContent = state.station.name;
    drawWho();
    document.title = `${view.title} – ${state.station.name}`;
  }
  if (kind === "camera" || kind === "reload") {
    document.getElementById("to-desk").hidden = !isEngineer() || ![...state.cameras.values()].some((each) => each.is_desk);
  }
  if (kind === "connection" || kind === "reload") {
    document.getElementById("connection").textContent =
      state.isConnected || isSignedOut ? "" : "⚠ The station does not answer; looking for it…";
  }
  if (kind === "run" && data.act === "ends") {
    const outcome = data.outcome === "running" ? "stopped" : data.outcome;
    announce([`${data.camera}: ${outcome}`, data.reason, data.text].filter(Boolean).join(", "));
  }
  if (kind === "run" && data.act === "begins") announce(`${data.camera}: ${data.plan} begins`);
  if (kind === "camera" && ["waits for the operator", "not reachable"].includes(data.camera.state)) {
    announce(`${data.camera.name || data.camera.id}: ${data.camera.state}`);
  }
  view?.onNews?.(kind, data);
  if (kind === "reload") performance.mark("usable");  // in the browser's trace: the view has what it shows
});

window.addEventListener("hashchange", show);
onScan((serial) => {
  if (isSignedOut) return;
  if (view.take) {
    view.take(serial);
    return;
  }
  window.addEventListener("hashchange", () => view.take?.(serial), {once: true});  // when it is shown
  location.hash = "#/";
});
document.querySelector(".skip").addEventListener("click", (event) => {
  event.preventDefault();  // the address names the view
  document.getElementById("main").focus();
});
show();
start();
