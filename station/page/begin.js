// Who tests, with which plan; and how a run begins.
import {choice, field, h, update} from "./dom.js";
import {call, chosen, isEngineer, state} from "./station.js";

// One that was chosen and cannot be used now is not replaced by another one in silence.
export function planField() {
  const usable = state.plans.filter((each) => !each.error).map((each) => [each.name, each.title]);
  const isGone = chosen.hasPlan && !usable.some(([name]) => name === chosen.plan);
  return h("div", {}, field("Plan", choice("plan", isGone ? [["", "choose one"], ...usable] : usable, isGone ? "" : chosen.plan,
    {onchange: (event) => { chosen.plan = event.target.value; }})),
  state.plans.filter((each) => each.error).map((each) => h("p", {class: "bad"}, `Plan ${each.name}: ${each.error}`)));
}

// Who has signed in tests.
export function operatorField() {
  const who = state.station?.who ?? "";
  return field("Operator", h("input", {id: "operator", autocomplete: "off", maxlength: "80", value: who || chosen.operator, readonly: who !== "",
    oninput: (event) => { chosen.operator = event.target.value; }}));
}

// A place for what was refused, and the way on.
export function problemPlace() {
  const place = h("div", {role: "alert", class: "problem"});
  return {
    element: place,
    clear: () => update(place),
    show: (error, ...ways) => update(place, h("p", {}, error.message), ways),
  };
}

// Begins a run; what it may not do it shows there. wish: as docs/station-api.md has it. begun: what comes
// then, also where somebody has to say first that it is to be so.
export async function begin(wish, problems, begun) {
  problems.clear();
  if (wish.plan === "") {
    problems.show(new Error("Choose a plan."));
    document.getElementById("plan")?.focus();
    return null;
  }
  if (!chosen.operator.trim() && state.plans.find((each) => each.name === wish.plan)?.asks_operator) {
    problems.show(new Error("This plan asks who tests: type the operator's name, then press Enter."));
    document.getElementById("operator")?.focus();
    return null;
  }
  try {
    const run = await call("POST", "/runs", {operator: chosen.operator.trim(), ...wish});
    begun?.(run);
    return run;
  } catch (error) {
    const ways = [];
    const isOther = wish.serial && wish.camera && state.cameras.get(wish.camera)?.serial !== wish.serial;
    if (error.status === 422 && isOther && !wish.despite_serial && isEngineer()) {
      ways.push(h("button", {onclick: () => begin({...wish, despite_serial: true}, problems, begun)},
        "Test it all the same"));
    }
    if (error.status === 404 && wish.serial && !wish.camera && state.cameras.size > 1) {
      ways.push(h("p", {}, "If you know which camera it is, start it at its own place below."));
    }
    problems.show(error, ...ways);
    return null;
  }
}
