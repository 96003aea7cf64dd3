// What failed, what it means, and what to try.
import {h, shortItem, table, update} from "./dom.js";
import {begin, problemPlace} from "./begin.js";
import {call, get, isEngineer, state} from "./station.js";

function steps(trace) {
  const told = (step) => Object.entries(step).filter(([key]) => key !== "ms" && key !== "op")
    .map(([key, value]) => `${key} ${value}`).join(", ");
  return [
    table("What the test asked of the camera", ["ms", "Step", "What"],
      trace.steps.map((step) => [step.ms, step.op, told(step)])),
    trace.left_out ? h("p", {}, `${trace.left_out} more steps`) : null,
  ];
}

// The camera of that run, when this station has it: where a test can be made again. id: the one whose
// view it is.
function cameraOf(run, id) {
  const all = [...state.cameras.values()].filter((each) => each.serial === run.camera.serial);
  return all.find((each) => each.id === id) ?? all[0];
}

// A run's note, to be read and written.
export function note(run, id, changed) {
  const text = h("textarea", {id, rows: "3", maxlength: "4000", value: run.note});
  const said = h("span", {role: "status"});
  return h("form", {class: "note", onsubmit: async (event) => {
    event.preventDefault();
    try {
      await call("PUT", `/runs/${run.id}/note`, {note: text.value});
      run.note = text.defaultValue = text.value;
      said.textContent = "Kept.";
      changed?.(text.value);
    } catch (error) {
      said.textContent = error.message;
    }
  }}, h("label", {for: id}, "Note on this run"), text, h("button", {}, "Keep the note"), " ", said);
}

export class FailureCard extends HTMLElement {
  show(run, attempt, id, rounds) {
    const camera = cameraOf(run, id);
    const problems = problemPlace();
    const evidence = h("div");
    const details = h("details", {ontoggle: () => this.load(run, attempt, details, evidence)},
      h("summary", {}, "Details"), evidence);
    const noted = h("div");
    const again = isEngineer() && camera && camera.state !== "not reachable" && !camera.run
      ? h("button", {class: "main", onclick: () => begin({camera: camera.id, items: [shortItem(attempt.item)]}, problems)}, "Test it again")
      : null;
    this.again = h("span", {}, again);
    // A run has one note, which another window or another card may have written meanwhile.
    const openNote = async () => {
      if (!noted.firstChild) {
        try {
          run.note = (await get(`/runs/${run.id}`)).note;
        } catch (error) {
          problems.show(error);
          return;
        }
        update(noted, note(run, `note-${attempt.number}`));
      }
      noted.querySelector("textarea").focus();
    };
    this.dataset.key = `${run.id}-${attempt.number}-${rounds}`;
    this.setAttribute("role", "group");
    this.setAttribute("aria-label", `${shortItem(attempt.item)} failed`);
    update(this,
      h("h3", {}, h("span", {class: "bad", "aria-hidden": "true"}, "✗ "), shortItem(attempt.item), " ", h("code", {}, attempt.result), rounds > 1 ? ` in ${rounds} rounds, last in this one` : ""),
      attempt.message ? h("p", {class: "message"}, attempt.message) : null,
      attempt.means ? h("p", {}, attempt.means) : null,
      attempt.causes.length ? h("div", {}, h("h4", {}, "Causes, most likely first"),
        h("ol", {}, attempt.causes.map((cause) => h("li", {}, h("b", {}, cause.part), `: ${cause.what}`, cause.try ? h("p", {}, cause.try) : null)))) : null,
      attempt.try ? h("div", {}, h("h4", {}, "What to try"), h("p", {}, attempt.try)) : null,
      h("p", {class: "acts"}, this.again, " ", h("button", {onclick: openNote}, "Note")),
      problems.element, noted, details);
  }

  // What is open and typed in it stays.
  renew(next) {
    update(this.again, ...next.again.childNodes);
  }

  async load(run, attempt, details, evidence) {
    if (!details.open || evidence.firstChild) return;
    try {
      const kept = await get(`/runs/${run.id}/attempts/${attempt.number}/evidence`);
      update(evidence,
        kept.picture ? h("img", {src: kept.picture, alt: "The camera's screen while its dialog was up"}) : null,
        kept.records.length ? h("div", {}, h("h4", {}, "Records"), h("pre", {}, kept.records.join("\n"))) : null,
        kept.trace ? steps(kept.trace) : h("p", {}, "No trace is kept."));
    } catch (error) {
      update(evidence, h("p", {class: "bad"}, error.message));
      details.addEventListener("toggle", () => evidence.replaceChildren(), {once: true});  // asked for again
    }
  }
}
customElements.define("failure-card", FailureCard);

// Of each test that has failed its latest failure, as cards; what passed at last in its round has none.
// id: of the camera whose view it is.
export function failures(run, id) {
  const latest = new Map();  // by round and test
  for (const each of run.attempts) latest.set(`${each.round} ${each.item}`, each);
  const failed = new Map();  // by test
  for (const each of latest.values()) {
    if (each.passed || each.problem || ["interrupted", "under way"].includes(each.result)) continue;
    failed.set(each.item, {attempt: each, rounds: (failed.get(each.item)?.rounds ?? 0) + 1});
  }
  return [...failed.values()].map(({attempt, rounds}) => {
    const card = document.createElement("failure-card");
    card.show(run, attempt, id, rounds);
    return card;
  });
}
