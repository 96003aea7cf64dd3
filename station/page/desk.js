// A simulated camera's inside: what can be turned and broken, who acts at it, its clock and log.
import {choice, field, h, section, update} from "./dom.js";
import {problemPlace} from "./begin.js";
import {call, get, isEngineer, state, turns} from "./station.js";

// The tree's values by path.
function flat(node, values = new Map()) {
  values.set(node.path, node.value);
  for (const each of node.children ?? []) if (typeof each === "object") flat(each, values);
  return values;
}

function range(knob) {
  const words = [knob.meaning];
  if (knob.range) words.push(`From ${knob.range[0]} to ${knob.range[1]}${knob.unit ? ` ${knob.unit}` : ""}.`);
  if (knob.start !== undefined && knob.start !== "") words.push(`Starts as ${knob.start}.`);
  return words.join(" ");
}

export function desk(id) {
  const problems = problemPlace();
  const head = h("div");
  const knobs = h("div");
  const log = h("pre", {tabindex: "0", role: "region", "aria-label": "The camera's log"});
  const clock = h("p");
  const said = h("p", {role: "status"});
  const base = () => `/cameras/${encodeURIComponent(id)}`;

  const act = async (what, done) => {
    problems.clear();
    try {
      await what();
      said.textContent = done;
      await read();
    } catch (error) {
      await read();  // what was wished is not so
      problems.show(error);
    }
  };
  const turn = (knob, text) => act(() => call("PUT", `${base()}/knobs/${encodeURIComponent(knob.path)}`, {value: text}), `${knob.path} is ${text}`);

  function row(knob, value) {
    const input = h("input", {id: `knob-${knob.path}`, value: value === null || value === undefined ? "" : String(value), "aria-describedby": `about-${knob.path}`,
      autocomplete: "off", readonly: knob.kind === "read only"});
    const isRead = knob.kind === "read only";
    const faults = (knob.faults ?? []).filter((each) => !each.at_start);  // those are made before the camera starts
    return h("form", {class: "knob", onsubmit: (event) => { event.preventDefault(); turn(knob, input.value); }},
      h("label", {for: input.id}, h("code", {}, knob.path)), input,
      isRead ? null : h("button", {id: `set-${knob.path}`, "aria-label": `Set ${knob.path}`}, "Set"),
      h("p", {id: `about-${knob.path}`, class: "faint"}, range(knob)),
      faults.length ? h("p", {class: "acts"}, faults.map((fault) => h("button", {type: "button", id: `break-${knob.path}-${fault.value}`,
        onclick: () => turn(knob, fault.value)}, `Break: ${fault.what}`))) : null);
  }

  const reading = turns();
  async function read() {
    const isLatest = reading();
    try {
      const [listed, tree, lines] = await Promise.all([get(`${base()}/knobs`), get(`${base()}/tree/.desk?depth=8`), get(`${base()}/log`)]);
      if (!isLatest()) return;
      problems.clear();
      const values = flat(tree);
      const open = new Set([...knobs.querySelectorAll("details[open]")].map((each) => each.dataset.device));
      const devices = new Map();
      for (const each of listed.knobs) devices.set(each.device, [...(devices.get(each.device) ?? []), each]);
      update(knobs, [...devices].map(([device, rows]) => h("details", {"data-device": device, open: open.has(device)},
        h("summary", {}, `${device} (${rows.length})`), rows.map((knob) => row(knob, values.get(knob.path))))));
      clock.textContent = values.get("desk.clock.local") ? `The camera's clock: ${values.get("desk.clock.local")}` : "";
      log.textContent = lines.lines.map((each) => each.text).join("\n") || "(empty)";
      // Unless somebody has said it, he is there on the virtual clock.
      const mode = values.get("desk.operator.mode");
      const isAuto = mode === "auto" || (!mode && values.get("desk.clock.kind") === "virtual");
      update(head, h("label", {class: "switch"}, h("input", {type: "checkbox", id: "auto", ...(isAuto ? {checked: true} : {}),
        onchange: (event) => turn({path: "desk.operator.mode"}, event.target.checked ? "auto" : "none")}),
      " The automatic operator acts at this camera"),
      h("p", {class: "acts"}, h("button", {class: "main", onclick: () => act(() => call("POST", `${base()}/restore`), "Everything is as it was at the start.")}, "Restore: mend everything"), " ",
        h("button", {onclick: () => read()}, "Look again")));
      document.getElementById("auto").checked = isAuto;  // also where somebody's wish was refused
    } catch (error) {
      problems.show(error);
    }
  }

  const cameras = h("div");
  return {
    title: id ? `Desk: ${id}` : "Desk",
    element: h("div", {}, cameras, head, said, problems.element, clock, section("Knobs", knobs), section("Log", log)),
    onNews(kind) {
      if (kind !== "reload") return;
      if (!isEngineer()) {
        update(cameras, h("p", {}, "What is done here takes an engineer."));
        return;
      }
      const all = [...state.cameras.values()].filter((each) => each.is_desk);
      if (!id && all.length) {
        location.replace(`#/desk/${encodeURIComponent(all[0].id)}`);
        return;
      }
      update(cameras, all.length ? field("Camera", choice("desk-camera", all.map((each) => [each.id, each.name || each.id]), id,
        {onchange: (event) => { location.hash = `#/desk/${encodeURIComponent(event.target.value)}`; }}))
        : h("p", {}, "No simulated camera is reachable."));
      if (id) read();
    },
  };
}
