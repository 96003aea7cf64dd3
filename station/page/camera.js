// One camera: its tests, its run, its screen while a test waits for somebody.
import {h, lasting, mark, section, shortItem, update} from "./dom.js";
import {begin, operatorField, planField, problemPlace} from "./begin.js";
import {progress} from "./bench.js";
import {failures} from "./cards.js";
import "./screen.js";
import {call, get, isEngineer, state, turns} from "./station.js";

// Of a test whose pictures somebody looks at, while it asks nothing.
const kWatched = {title: "Look at the camera", timeout_ms: null, until: null, asksNothing: true,
  controls: [{kind: "text", text: "The test shows what somebody is to look at, or is about to ask. It goes on by itself."}]};

export function camera(id) {
  const base = `/cameras/${encodeURIComponent(id)}`;
  const problems = problemPlace();
  const head = h("div", {class: "head"});
  const acts = h("div");
  const screenPlace = h("div");
  const verdict = h("div");
  const lights = h("div", {class: "groups"});
  let items = [];
  let heard = new Map();  // results of what ended while the items were read
  let itemsOf = "";       // which camera they are of, and what it did
  let stops = "";         // the run that was asked to end
  let last = null;     // the run whose failures are shown
  let screen = null;   // the element
  const turn = turns();

  const refuse = (error) => problems.show(error);
  const abort = async (now) => {
    const run = state.cameras.get(id)?.run?.id;
    if (!run) return;
    try {
      await call("POST", `/runs/${run}/abort`, {now});
      stops = run;
      draw();
    } catch (error) {
      refuse(error);
    }
  };

  function drawHead(each) {
    update(head, h("p", {class: "state big"}, mark(each.state)),
      h("p", {class: "faint"}, [each.product, each.serial && `serial ${each.serial}`, each.address].filter(Boolean).join(", ")),
      each.problem ? h("p", {class: "bad"}, each.problem) : null);
  }

  let actsFor = null;  // what the acts were drawn for
  function drawActs(each) {
    if (each.run) {
      update(acts, h("p", {}, "Plan ", h("b", {}, each.run.plan), each.run.operator ? `, by ${each.run.operator}` : ""),
        h("div", {}, progress(each.run)),
        stops === each.run.id ? h("p", {class: "warn", role: "status"}, "It stops when this test has ended",
          each.run.time_left_ms === null ? "." : `: at most ${lasting(each.run.time_left_ms)}.`) : null,
        h("p", {class: "acts"}, h("button", {id: "abort", disabled: stops === each.run.id, onclick: () => abort(false)}, "Stop after this test"), " ",
          h("button", {id: "stop", onclick: () => abort(true)}, "Stop now")),
        h("p", {class: "faint"}, "A camera cannot be stopped within a test; the run can be taken up again."));
    } else if (actsFor !== each.state) {
      const plan = planField();
      update(acts, h("form", {class: "start", onsubmit: (event) => {
        event.preventDefault();
        begin({camera: id, plan: document.getElementById("plan").value}, problems);
      }}, operatorField(), plan, h("button", {class: "main", disabled: each.state === "not reachable"}, "Start")));
    }
    actsFor = each.run ? "run" : each.state;
  }

  function drawScreen(each) {
    const isWatched = each.state === "testing" && items.find((test) => test.path === each.run?.item)?.interactive;
    const dialog = each.screen ?? (isWatched ? kWatched : null);
    if (!dialog && each.state !== "waits for the operator") {
      screen = null;
      update(screenPlace);
    } else if (!dialog) {
      screen = null;
      update(screenPlace, section("Act at the camera", h("p", {}, "A test waits for somebody at the camera itself.")));
    } else {
      if (!screen || screen.dialog.asksNothing !== dialog.asksNothing) {
        screen = document.createElement("camera-screen");
        screenPlace.replaceChildren(section(isWatched ? "The camera's screen" : "The camera waits for you", screen));
      }
      screen.show(id, dialog, each.run?.item ?? "");
    }
  }

  function drawLights() {
    const groups = new Map();
    for (const each of items) groups.set(each.group, [...(groups.get(each.group) ?? []), each]);
    const now = state.cameras.get(id);
    update(lights, [...groups].map(([group, tests]) => h("section", {class: "group"}, h("h3", {}, group),
      h("ul", {}, tests.map((test) => h("li", {},
        mark(now?.run?.item === test.path ? "testing" : test.value || "Untested", {class: "light"}), " ",
        h("button", {class: "quiet", id: `test-${test.path}`, disabled: !isEngineer() || Boolean(now?.run) || now?.state === "not reachable",
          "aria-label": `Test ${shortItem(test.path)}`,
          onclick: () => begin({camera: id, items: [shortItem(test.path)]}, problems)},
        shortItem(test.path).replace(`${group}.`, ""), test.interactive ? " ☞" : "")))))));
  }

  async function readItems() {
    const isLatest = turn();
    heard = new Map();
    try {
      const read = (await get(`${base}/items`)).items;
      if (!isLatest()) return;
      items = read.map((each) => ({...each, value: heard.get(each.path) ?? each.value}));
      draw();
    } catch (error) {
      if (!isLatest()) return;
      itemsOf = "";  // when it is there
      if (state.cameras.get(id)?.state !== "not reachable") refuse(error);
    }
  }

  // A note that is being typed stays until it is kept.
  const isTyping = () => [...verdict.querySelectorAll("textarea")].some((each) => each.value !== each.defaultValue);
  async function drawVerdict(each) {
    if (isTyping()) return;
    if (each.run || !each.last_run) {
      last = null;
      update(verdict);
      return;
    }
    if (last === each.last_run.id) return;
    last = each.last_run.id;
    try {
      const run = await get(`/runs/${last}`);
      if (last !== run.id || isTyping()) return;
      update(verdict, section("Last run",
        h("p", {class: "state"}, mark(run.outcome)), run.reason ? h("p", {}, run.reason) : null,
        h("p", {}, h("a", {href: `#/run/${run.id}`}, "The whole report")), failures(run, id)));
    } catch (error) {
      refuse(error);
      last = null;
    }
  }

  function draw() {
    const each = state.cameras.get(id);
    if (!each) {
      if (state.station) update(head, h("p", {class: "bad"}, `This station has no camera ${id}.`));
      return;
    }
    help.hidden = !isEngineer();
    // Another one may stand there now, or a test of somebody else's has ended.
    const now = [each.serial, each.state !== "not reachable", each.state === "testing" && !each.run].join();
    if (itemsOf !== now) {
      if (itemsOf && each.serial !== itemsOf.split(",")[0]) items = [];
      itemsOf = now;
      if (each.state !== "not reachable") readItems();
    }
    drawHead(each);
    drawActs(each);
    drawScreen(each);
    drawVerdict(each);
    drawLights();
  }

  const help = h("p", {class: "faint"}, "Press a name to make that test alone.");
  const element = h("div", {class: "camera"}, head, screenPlace, acts, problems.element, verdict, section("Tests", help, lights));
  return {
    title: id,
    element,
    onNews(kind, data) {
      const isMine = data?.camera === id || data?.camera?.id === id;
      if (kind === "reload") {
        actsFor = actsFor === "run" ? actsFor : null;
        last = null;
        itemsOf = "";
        problems.clear();
      }
      if (kind === "attempt" && isMine && data.act === "ends") {
        const test = items.find((each) => each.path === data.item);
        if (test) test.value = data.result;
        heard.set(data.item, data.result);
      }
      if (kind === "reload" || isMine) draw();
      if (kind === "run" && isMine && ["begins", "ends"].includes(data.act)) readItems();
    },
  };
}
