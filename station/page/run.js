// One run: its report, while it is under way and for years.
import {facts, h, mark, moment, number, section, shortItem, table, update} from "./dom.js";
import {progress} from "./bench.js";
import {problemPlace} from "./begin.js";
import {failures, note} from "./cards.js";
import {call, get, turns} from "./station.js";

const kFiles = [["html", "Report"], ["json", "JSON"], ["sig", "Signature"], ["csv", "Attempts (CSV)"],
  ["measurements.csv", "Measurements (CSV)"], ["xml", "JUnit"]];

const kLeast = 1000;  // ms between two readings of a run under way
const kShown = 500;   // attempts

export function run(id) {
  const problems = problemPlace();
  const report = h("div");
  const notes = h("div");
  let timer = null;
  let pause = kLeast;
  let noted = null;
  const turn = turns();

  const resume = async () => {
    problems.clear();
    try {
      await call("POST", `/runs/${id}/resume`, {});
      read();
    } catch (error) {
      problems.show(error);
    }
  };

  function draw(run) {
    const failed = failures(run);
    const measured = run.attempts.flatMap((attempt) => attempt.measurements.map((each) => ({...each, item: attempt.item})));
    const isOpen = run.outcome === "incomplete" || (run.outcome === "running" && !run.progress);
    update(report,
      h("p", {class: "state big"}, mark(run.outcome)),
      run.reason ? h("p", {}, run.reason) : null,
      run.progress ? h("div", {}, progress(run.progress),
        h("p", {}, h("a", {href: `#/camera/${encodeURIComponent(run.progress.camera)}`}, "To the camera"))) : null,
      isOpen ? h("p", {}, h("button", {class: "main", id: "resume", onclick: resume}, "Go on with this run")) : null,
      facts({"Camera": run.camera.name === run.camera.variant ? run.camera.name : `${run.camera.name}, ${run.camera.variant}`, "Serial": run.camera.serial,
        "Scanned": run.scanned_serial === run.camera.serial ? "" : run.scanned_serial, "Plan": run.plan,
        "Operator": run.operator, "Started": moment(run.started_at), "Ended": moment(run.ended_at),
        "Station": run.station, "Run": run.id}),
      h("ul", {class: "files", "aria-label": "This run as a file"}, kFiles.map(([suffix, text]) =>
        h("li", {}, h("a", {href: `/api/v1/runs/${run.id}.${suffix}`, download: suffix === "html" ? null : `${run.id}.${suffix === "sig" ? "json.sig" : suffix}`}, text)))),
      failed.length ? section("What failed", failed) : null,
      measured.length ? section("Measurements", table("Measurements against their limits",
        ["Test", "What", "Value", "Limits"], measured.map((each) => [shortItem(each.item), each.name,
          `${number(each.value)} ${each.unit}`,
          each.lower === null && each.upper === null ? "" : `${number(each.lower)} … ${number(each.upper)}`]))) : null,
      section("Every attempt", run.attempts.length > kShown
        ? h("p", {}, `The latest ${kShown} of ${run.attempts.length}; the report and the files have all of them.`) : null, table("Attempts in their order", ["No.", "Test", "Result", "Seconds", "Message"],
        run.attempts.slice(-kShown).map((each) => [each.number, shortItem(each.item) + (each.retry ? ` (try ${each.retry + 1})` : ""),
          mark(each.result), each.seconds.toFixed(1), each.problem || each.message]))),
      h("details", {"data-key": "plan"}, h("summary", {}, "Plan and versions"), h("p", {}, run.versions), h("pre", {}, run.plan_text)));
    const typed = notes.querySelector("textarea");
    if (noted !== run.note && (!typed || typed.value === typed.defaultValue)) {
      noted = run.note;
      update(notes, note(run, "note", (text) => { noted = text; }));
    }
  }

  async function read() {
    timer = null;
    const isLatest = turn();
    const began = Date.now();
    try {
      const read = await get(`/runs/${encodeURIComponent(id)}`);
      if (!isLatest()) return;
      draw(read);
      pause = Math.max(kLeast, 10 * (Date.now() - began));
      problems.clear();
    } catch (error) {
      problems.show(error);
    }
  }

  return {
    title: "Run",
    element: h("div", {}, problems.element, report, notes),
    // A run of thousands of attempts is long to read: a tenth of the time at most goes into it.
    onNews(kind, data) {
      if (kind === "reload") read();
      else if (data?.run === id) timer ??= setTimeout(read, pause);
    },
    close: () => clearTimeout(timer),
  };
}
