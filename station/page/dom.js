// Elements from text: whatever a camera or a person wrote stays text.

// h("a", {href: "#/", onclick: act}, "text", child, [children], null)
export function h(name, properties = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (value === null || value === undefined || value === false) continue;
    if (key.startsWith("on")) element.addEventListener(key.slice(2), value);
    // As what it starts with, so that another one makes another element.
    else if (key === "value") element["defaultValue" in element ? "defaultValue" : "value"] = value;
    else element.setAttribute(key, value === true ? "" : value);
  }
  element.append(...children.flat(Infinity).filter((each) => each !== null && each !== undefined));
  return element;
}

// Whether a new element may stay what the old one is, with what a person has opened or typed in it.
function isSame(old, child) {
  const key = child.dataset?.key;
  return key ? old.dataset?.key === key : old.isEqualNode(child);
}
// Whether it only holds others, of which each may stay.
const kHolders = ["DIV", "SECTION", "DETAILS", "TABLE", "TBODY", "TR", "TD"];
function isPlain(old, child) {
  return kHolders.includes(old.nodeName) && old.cloneNode(false).isEqualNode(child.cloneNode(false));
}
function replaceChildren(target, wanted) {
  wanted.forEach((child, index) => {
    const old = target.childNodes[index];
    if (!old) target.append(child);
    else if (isSame(old, child)) old.renew?.(child);
    else if (isPlain(old, child)) replaceChildren(old, [...child.childNodes]);
    else old.replaceWith(child);
  });
  while (target.childNodes.length > wanted.length) target.lastChild.remove();
}

// Puts those children in place of an element's own. What has not changed stays as it is, and what
// has the same data-key, which is asked to renew(child) itself where it can; whoever is in an element with an id is there again afterwards.
export function update(target, ...children) {
  const focused = target.contains(document.activeElement) ? document.activeElement.id : "";
  replaceChildren(target, children.flat(Infinity).filter((each) => each)
    .map((each) => (typeof each === "string" ? new Text(each) : each)));
  if (focused && document.activeElement.id !== focused) {
    document.getElementById(focused)?.focus({preventScroll: true});
  }
}

// A heading with what belongs to it.
export function section(title, ...children) {
  return h("section", {}, h("h2", {}, title), children);
}

// rows: arrays of cells, each a text or an element; numbers stand to the right.
export function table(caption, headings, rows) {
  const cell = (each) =>
    typeof each === "number" ? h("td", {class: "number"}, String(each)) : h("td", {}, each ?? "");
  return h("div", {class: "scroll", tabindex: "0", role: "region", "aria-label": caption},
    h("table", {},
      h("caption", {}, caption),
      h("thead", {}, h("tr", {}, headings.map((each) => h("th", {scope: "col"}, each)))),
      h("tbody", {}, rows.map((row) => h("tr", {}, row.map(cell))))));
}

// facts({"Serial": "1", ...}): those that are there.
export function facts(pairs) {
  return h("dl", {}, Object.entries(pairs).filter(([, value]) => value !== "" && value !== null)
    .map(([key, value]) => [h("dt", {}, key), h("dd", {}, value)]));
}

// A field with its name above; input: an element with an id.
export function field(name, input) {
  return h("div", {class: "field"}, h("label", {for: input.id}, name), input);
}

export function choice(id, options, value, properties = {}) {
  return h("select", {id, ...properties}, options.map(([key, text]) =>
    h("option", {value: key, selected: key === value}, text)));
}

// Word, sign and colour: any of them alone tells it.
const kMarks = {
  "passed": ["good", "✓"], "OK": ["good", "✓"], "idle": ["good", "●"],
  "passed on retry": ["warn", "✓"], "failed": ["bad", "✗"], "incomplete": ["warn", "⚠"],
  "running": ["busy", "▶"], "testing": ["busy", "▶"], "under way": ["busy", "▶"],
  "waits for the operator": ["warn", "☞"], "not reachable": ["bad", "⊘"],
  "Untested": ["faint", "○"], "no result": ["warn", "⚠"], "interrupted": ["warn", "⚠"],
};
export function mark(text, properties = {}) {
  const [kind, sign] = kMarks[text] ?? (text === "Tested" ? ["good", "✓"] : ["bad", "✗"]);
  return h("span", {...properties, class: `mark ${kind} ${properties.class ?? ""}`},
    h("span", {"aria-hidden": "true"}, sign), " ", text);
}

export function shortItem(item) {
  return item.replace(/^test\.items\./, "");
}

export function lasting(ms) {
  if (ms === null || ms === undefined) return "";
  const seconds = Math.ceil(ms / 1000);
  if (seconds >= 3600) return `${Math.floor(seconds / 3600)} h ${Math.floor(seconds % 3600 / 60)} min`;
  return seconds >= 60 ? `${Math.floor(seconds / 60)} min ${seconds % 60} s` : `${seconds} s`;
}

export function moment(time) {
  return time ? new Date(time).toLocaleString() : "";
}

export function number(value) {
  return value === null || value === undefined ? "" : String(Number(value.toPrecision(7)));
}
