// A scanner is a keyboard: it types a whole serial within moments, wherever the focus is, and ends it with
// Return or Tab.
const kPause = 60;    // ms between two of its keys at most
const kShortest = 5;  // so many within moments nobody types by hand

// Where text is wanted, a scan is text: in a filter, or in a note.
const isOwn = (target) => target.matches("textarea, input:not(#operator)");

// scanned(serial): of a scan anywhere else. What it typed into the operator's name is taken out again.
export function onScan(scanned) {
  let burst = null;  // {text, at, target, before}
  document.addEventListener("keydown", (event) => {
    const {key, target, timeStamp} = event;
    const isChosen = event.ctrlKey || event.altKey || event.metaKey;
    if (burst && (timeStamp - burst.at > kPause || target !== burst.target)) burst = null;
    if (key === "Shift") return;
    if (key.length === 1 && (key !== " " || burst) && !isChosen && !isOwn(target)) {
      burst ??= {text: "", target, before: target.value};
      burst.text += key;
      burst.at = timeStamp;
      if (burst.text.length > 1 && target.id !== "operator") {
        // No choice of a list, and no key of a camera.
        event.preventDefault();
        event.stopPropagation();
      }
      return;
    }
    const done = burst;
    burst = null;
    if (!["Enter", "Tab"].includes(key) || !done || done.text.length < kShortest) return;
    event.preventDefault();
    event.stopPropagation();
    if (done.before !== undefined && done.before !== target.value) {
      target.value = done.before;
      target.dispatchEvent(new Event(target.matches("select") ? "change" : "input", {bubbles: true}));
    }
    scanned(done.text);
  }, {capture: true});
}
