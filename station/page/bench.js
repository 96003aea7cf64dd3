// All cameras at a glance: scan, start, and see who needs a hand.
import {field, h, lasting, mark, shortItem, update} from "./dom.js";
import {begin, operatorField, planField, problemPlace} from "./begin.js";
import {state} from "./station.js";

// One that ends with Tab has typed a whole serial within moments.
const kScannerPause = 60;  // ms between two of its keys at most, on the average

export function progress(run) {
  const all = run.done + run.left;
  return [
    h("progress", {max: String(all || 1), value: String(run.done), "aria-label": "Tests done"}),
    h("p", {}, `${run.done} of ${all} tests`, run.time_left_ms === null ? "" : `, ${lasting(run.time_left_ms)} left`),
    run.item ? h("p", {class: "faint"}, `Now: ${shortItem(run.item)}`) : null,
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
  const starting = new Set();
  const start = async (wish) => {
    // A scanner that ends with two keys, or a second press, asks for the same once more.
    const key = JSON.stringify(wish);
    if (starting.has(key)) return;
    starting.add(key);
    const typed = scan.value;
    scan.select();  // the next scan takes its place
    await begin({...wish, plan: document.getElementById("plan").value}, problems, () => {
      if (scan.value === typed) scan.value = "";
      if (state.cameras.size === 1) location.hash = `#/camera/${encodeURIComponent([...state.cameras.keys()][0])}`;
      else scan.focus();
    });
    starting.delete(key);
  };
  const startScanned = () => {
    const serial = scan.value.trim();
    if (serial) return start({serial});
    if (state.cameras.size === 1) return start({camera: [...state.cameras.keys()][0]});
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

  const element = h("div", {},
    h("form", {class: "start", onsubmit: (event) => { event.preventDefault(); startScanned(); }},
      field("Serial number", scan), operatorField(), plan, h("button", {class: "main"}, "Start")),
    h("p", {id: "scan-help", class: "faint"}, "Scan the camera, or type its serial number and press Enter."),
    problems.element, tiles);
  const draw = (kind) => {
    if (kind === "reload" || !plan.firstChild) update(plan, planField());
    const cameras = [...state.cameras.values()];
    while (tiles.childElementCount < cameras.length) tiles.append(document.createElement("camera-tile"));
    while (tiles.childElementCount > cameras.length) tiles.lastChild.remove();
    cameras.forEach((camera, index) => tiles.children[index].show(camera, (id) =>
      start({camera: id, serial: scan.value.trim() || undefined})));
  };
  return {title: "Bench", element, onNews: draw, take(serial) {
    scan.focus();
    scan.value = serial;
    startScanned();
  }};
}
