// The runs that are kept. The filters stand in the address: it can be kept and passed on.
import {choice, field, h, mark, moment, table, update} from "./dom.js";
import {problemPlace} from "./begin.js";
import {get, query, state, turns} from "./station.js";

const kOutcomes = ["", "passed", "passed on retry", "failed", "incomplete", "running"];
const kTexts = [["serial", "Serial number"], ["variant", "Variant"], ["operator", "Operator"]];

// A spreadsheet takes what begins so for a formula.
function cell(text) {
  const shown = /^[=+\-@\t\r]/.test(text) ? `'${text}` : text;
  return `"${shown.replaceAll('"', '""')}"`;
}

function save(runs) {
  const rows = [["run", "started_at", "ended_at", "camera", "serial", "variant", "plan", "operator", "outcome", "reason", "note"],
    ...runs.map((run) => [run.id, run.started_at, run.ended_at ?? "", run.camera.name, run.camera.serial, run.camera.variant,
      run.plan, run.operator, run.outcome, run.reason, run.note])];
  const text = rows.map((row) => row.map(cell).join(",")).join("\r\n");
  const address = URL.createObjectURL(new Blob([text, "\r\n"], {type: "text/csv;charset=utf-8"}));
  h("a", {href: address, download: "runs.csv"}).click();
  URL.revokeObjectURL(address);
}

// Days begin where the person is. What is no day, in an address that somebody typed, the station refuses.
export function period({from, to}) {
  const start = (day) => {
    const at = new Date(`${day}T00:00`);
    return Number.isNaN(at.getTime()) ? day : at.toISOString();
  };
  return {from: start(from), to: start(to)};
}

export function filterForm(values, keys, apply) {
  const form = h("form", {class: "filters", onsubmit: (event) => {
    event.preventDefault();
    apply(Object.fromEntries(new FormData(form)));
  }},
  keys.map((key) => {
    const text = kTexts.find(([name]) => name === key)?.[1];
    if (text) return field(text, h("input", {id: key, name: key, value: values[key] ?? ""}));
    if (key === "plan") {
      const titles = [...new Set(state.plans.filter((each) => !each.error).map((each) => each.title).concat(values.plan ?? []))];
      return field("Plan", choice("plan", [["", "any"], ...titles.map((each) => [each, each])], values.plan ?? "", {name: "plan"}));
    }
    if (key === "outcome") {
      return field("Outcome", choice("outcome", kOutcomes.map((each) => [each, each || "any"]), values.outcome ?? "", {name: "outcome"}));
    }
    return field(key === "from" ? "From" : "Before", h("input", {id: key, name: key, type: "date", value: values[key] ?? ""}));
  }),
  h("button", {class: "main"}, "Show"));
  return form;
}

const isOlder = (run, other) =>
  run.started_at < other.started_at || (run.started_at === other.started_at && run.id < other.id);

export function history(_, search) {
  const problems = problemPlace();
  const filters = h("div");
  const list = h("div");
  const count = h("p", {class: "faint", role: "status"});
  const values = Object.fromEntries(search);
  const asked = {...values, ...period(values)};
  let runs = [];
  let next = null;
  const turn = turns();

  function draw() {
    count.textContent = runs.length ? `${runs.length} runs${next ? ", and older ones" : ""}` : "No run is kept that fits.";
    update(list,
      runs.length ? table("Runs, newest first", ["Started", "Camera", "Serial", "Plan", "Operator", "Outcome"],
        runs.map((run) => [h("a", {href: `#/run/${run.id}`, id: `run-${run.id}`}, moment(run.started_at)), `${run.camera.name} (${run.camera.variant})`,
          run.camera.serial, run.plan, run.operator, h("span", {}, mark(run.outcome), run.reason ? ` ${run.reason}` : "")]))
        : null,
      h("p", {class: "acts"}, next ? h("button", {id: "more", onclick: readOlder}, "Show older ones") : null, " ",
        runs.length ? h("button", {id: "save", onclick: () => save(runs)}, "Save these as CSV") : null));
  }

  // The newest ones; of older ones that are shown already they take no part.
  async function read() {
    const isLatest = turn();
    try {
      const page = await get(`/runs${query(asked)}`);
      if (!isLatest()) return;
      const last = page.runs.at(-1);
      const isJoined = page.next && runs.some((each) => !isOlder(each, last));  // else some between are not known
      const older = isJoined ? runs.filter((each) => isOlder(each, last)) : [];
      runs = [...page.runs, ...older];
      if (!older.length) next = page.next;
      problems.clear();
      draw();
    } catch (error) {
      problems.show(error);
    }
  }
  async function readOlder() {
    const cursor = next;
    try {
      const page = await get(`/runs${query({...asked, cursor})}`);
      if (cursor !== next) return;  // pressed twice, or they are others now
      runs = [...runs, ...page.runs];
      next = page.next;
      problems.clear();
      draw();
    } catch (error) {
      problems.show(error);
    }
  }

  return {
    title: "History",
    element: h("div", {}, filters, problems.element, count, list),
    onNews(kind, data) {
      if (kind === "reload") {
        update(filters, filterForm(values, ["serial", "variant", "plan", "outcome", "operator", "from", "to"], (wish) => {
          const address = `#/history${query(wish)}`;
          if (location.hash === address) read();
          else location.hash = address;
        }));
      }
      const isNews = kind === "run" && (data.act === "begins" || data.act === "ends");
      if (kind === "reload" || isNews) read();
    },
  };
}
