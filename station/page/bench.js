// All cameras at a glance: scan, start, and see who needs a hand.
import {field, h, lasting, mark, update} from "./dom.js";
import {begin, operatorField, planChoice, problemPlace} from "./begin.js";
import {state} from "./station.js";

// A scanner types a whole serial within moments and ends it with Return or Tab.
const kScannerPause = 60;  // ms between two of its keys at most, on the average

export function progress(run) {
  const all = run.done + run.left;
  return [
    h("progress", {max: String(all || 1), value: String(run.done), "aria-label": "Tests done"}),
    h("p", {}, `${run.done} of ${all} tests`, run.time_left_ms === null ? "" : `, ${lasting(run.time_left_ms)} left`),
    run.waits ? h("p", {class: "warn"}, `Waits: ${run.waits}`) : null,
  ];
}

export class CameraTile extends HTMLElement {
  show(camera, start) {
    const path = `#/camera/${encodeURIComponent(camera.id)}`;
    const name = camera.name || camera.id;
    const key = `start-${camera.id}`;
    this.className = `tile state-${camera.state.replaceAll(" ", "-")}`;
    const act = {
      "waits for the operator": () => h("a", {class: "button main", href: path, id: key}, "Act now"),
      "testing": () => h("a", {class: "button", href: path, id: key}, "Watch"),
      "not reachable": () => h("p", {class: "faint"}, camera.problem || "It does not answer."),
    }[camera.state] ?? (() => h("button", {class: "main", id: key, onclick: () => start(camera.id)}, `Test ${name}`));
    update(this,
      h("h2", {}, h("a", {href: path}, name)),
      h("p", {class: "faint"}, [camera.product, camera.serial && `serial ${camera.serial}`].filter(Boolean).join(", ") || camera.address),
      h("p", {class: "state"}, mark(camera.state)),
      camera.run ? h("div", {}, progress(camera.run)) : null,
      camera.last_run ? h("p", {}, "Last: ",
        h("a", {href: `#/run/${camera.last_run.id}`}, mark(camera.last_run.outcome), ` – ${camera.last_run.plan}`)) : null,
      act());
  }
}
customElements.define("camera-tile", CameraTile);

export function bench() {
  const problems = problemPlace();
  const scan = h("input", {id: "scan", "data-first": true, autocomplete: "off", spellcheck: "false", maxlength: "200",
    "aria-describedby": "scan-help"});
  const plan = h("div");
  const tiles = h("div", {class: "tiles"});
  const started = async (wish) => {
    const run = await begin({...wish, plan: document.getElementById("plan").value}, problems);
    if (!run) {
      scan.select();  // the next scan takes its place
      return;
    }
    scan.value = "";
    if (state.cameras.size === 1) location.hash = `#/camera/${encodeURIComponent([...state.cameras.keys()][0])}`;
    else scan.focus();
  };
  const startScanned = () => {
    const serial = scan.value.trim();
    if (serial) return started({serial});
    if (state.cameras.size === 1) return started({camera: [...state.cameras.keys()][0]});
    problems.show(new Error("Scan or type the camera's serial number, or start one below."));
    return scan.focus();
  };
  let began = 0;
  scan.addEventListener("keydown", (event) => {
    const isQuick = event.timeStamp - began < kScannerPause * scan.value.length;
    if (scan.selectionStart === 0 && scan.selectionEnd === scan.value.length && event.key !== "Tab") began = event.timeStamp;
    if (event.key !== "Tab" || !isQuick) return;
    event.preventDefault();
    startScanned();
  });
  // A scanner types wherever the focus is.
  const catchScan = (event) => {
    const isTyped = event.key.length === 1 && event.key !== " " && !event.ctrlKey && !event.altKey && !event.metaKey;
    if (!isTyped || event.target.closest("input, select, textarea")) return;
    began = event.timeStamp;
    scan.focus();
    scan.select();
  };
  document.addEventListener("keydown", catchScan);

  const element = h("div", {},
    h("form", {class: "start", onsubmit: (event) => { event.preventDefault(); startScanned(); }},
      field("Serial number", scan), operatorField(), plan, h("button", {class: "main"}, "Start")),
    h("p", {id: "scan-help", class: "faint"}, "Scan the camera, or type its serial number and press Enter."),
    problems.element, tiles);
  const draw = (kind) => {
    if (kind === "reload" || !plan.firstChild) update(plan, field("Plan", planChoice()));
    const cameras = [...state.cameras.values()];
    while (tiles.childElementCount < cameras.length) tiles.append(document.createElement("camera-tile"));
    while (tiles.childElementCount > cameras.length) tiles.lastChild.remove();
    cameras.forEach((camera, index) => tiles.children[index].show(camera, (id) =>
      started({camera: id, serial: scan.value.trim() || undefined})));
  };
  return {title: "Bench", element, onNews: draw,
    close: () => document.removeEventListener("keydown", catchScan)};
}
