// What many runs tell: yield, failing tests, the course of a measurement. Each as a picture and a table.
import {choice, field, h, lasting, moment, number, section, shortItem, table, update} from "./dom.js";
import {problemPlace} from "./begin.js";
import {filterForm, period} from "./history.js";
import {get, query, state, turns} from "./station.js";

let library = null;
function charts() {
  library ??= new Promise((resolve, reject) => {
    document.head.append(h("script", {src: "chart.js", onload: () => resolve(window.Chart), onerror: () => {
      library = null;  // it is asked for again the next time
      reject(new Error("The plots could not be loaded."));
    }}));
  });
  return library;
}

const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();
const kLines = ["--good", "--busy", "--warn", "--bad", "--ink"];

// A picture beside its table: whoever does not see it reads the same there.
async function plot(place, label, config) {
  const Chart = await charts();
  place.chart?.destroy();
  const canvas = h("canvas", {role: "img", "aria-label": `${label}; the table below has the same figures`});
  place.replaceChildren(h("div", {class: "plot"}, canvas));
  const axis = {ticks: {color: colour("--ink")}, grid: {color: colour("--line")}};
  for (const each of Object.values(config.options.scales)) Object.assign(each, axis, each);
  const chart = new Chart(canvas, {...config, options: {...config.options, animation: false, maintainAspectRatio: false,
    plugins: {legend: {labels: {color: colour("--ink")}}}}});
  place.chart = chart;
}

function yieldPlot(place, rows) {
  const weeks = [...new Set(rows.map((each) => each.week))].sort();
  const variants = [...new Set(rows.map((each) => each.variant))];
  return plot(place, "First-pass yield by week", {type: "bar", data: {labels: weeks, datasets: variants.map((variant, index) => ({
    label: variant, backgroundColor: colour(kLines[index % kLines.length]),
    data: weeks.map((week) => {
      const row = rows.find((each) => each.week === week && each.variant === variant);
      return row?.cameras ? 100 * row.passed / row.cameras : null;
    })}))}, options: {scales: {x: {}, y: {min: 0, max: 100, title: {display: true, text: "%", color: colour("--ink")}}}}});
}

function failurePlot(place, rows) {
  return plot(place, "Failing tests, most often first", {type: "bar", data: {labels: rows.map((each) => shortItem(each.item)),
    datasets: [{label: "Failed attempts", backgroundColor: colour("--bad"), data: rows.map((each) => each.attempts)}]},
  options: {indexAxis: "y", scales: {x: {min: 0}, y: {}}}});
}

function trendPlot(place, points, unit) {
  const limit = (key, label) => ({label, data: points.map((each) => each[key]), borderColor: colour("--bad"), borderDash: [6, 4], pointRadius: 0});
  const limits = [limit("lower", "Lower limit"), limit("upper", "Upper limit")].filter((each) => each.data.some((value) => value !== null));
  return plot(place, "Course of the measurement", {type: "line", data: {labels: points.map((each) => moment(each.started_at)),
    datasets: [{label: `Value (${unit})`, data: points.map((each) => each.value), borderColor: colour("--busy"), backgroundColor: colour("--busy")}, ...limits]},
  options: {scales: {x: {}, y: {}}}});
}

// From where the detector was warmest last, so that cameras that were warmer or colder at first, or
// were warmed up for hours, lie over each other: [seconds, K].
function coolDown(points) {
  const [start] = points.reduce((most, each) => (each[1] >= most[1] ? each : most));
  return points.filter((each) => each[0] >= start).map(([at, kelvin]) => [at - start, kelvin]);
}

function curvePlot(place, curves) {
  const axis = (text) => ({type: "linear", title: {display: true, text, color: colour("--ink")}});
  return plot(place, "Cool-down curves", {type: "scatter", data: {datasets: curves.map((each, index) => ({
    label: `${each.serial}, ${moment(each.started_at)}`, showLine: true, pointRadius: 0, borderColor: colour(kLines[index]),
    borderDash: [[], [8, 4], [2, 3], [12, 3, 2, 3], [4, 8]][index], data: each.points.map(([x, y]) => ({x: x / 60, y}))}))},
  options: {scales: {x: axis("Minutes since it began to cool"), y: axis("K")}}});
}

export function statistics(_, search) {
  const values = Object.fromEntries(search);
  const problems = problemPlace();
  const filters = h("div");
  const places = {yields: h("div"), failures: h("div"), trend: h("div"), curves: h("div")};
  const plots = {yields: h("div"), failures: h("div"), trend: h("div"), curves: h("div")};
  const apply = (wish) => {
    const address = `#/statistics${query({...values, ...wish})}`;
    if (location.hash === address) read();
    else location.hash = address;
  };

  async function readYield() {
    const plan = values.plan || state.plans.find((each) => !each.error)?.title || "";
    const read = await get(`/statistics/yield${query({plan, ...period(values)})}`);
    const rows = read.rows.filter((each) => !values.variant || each.variant === values.variant);
    update(places.yields, rows.length ? table(`First-pass yield of ${plan}`, ["Week", "Variant", "Cameras", "Passed at once", "Yield", "Incomplete runs"],
      rows.map((each) => [each.week, each.variant, each.cameras, each.passed,
        each.cameras ? `${Math.round(100 * each.passed / each.cameras)} %` : "–", each.incomplete]))
      : h("p", {}, `No camera's first run of ${plan} lies there.`));
    if (rows.length) await yieldPlot(plots.yields, rows);
    else update(plots.yields);
  }
  async function readFailures() {
    const {plan, variant} = values;
    const {rows} = await get(`/statistics/failures${query({plan, variant, ...period(values)})}`);
    update(places.failures, rows.length ? table("Failing tests", ["Test", "Failed attempts", "Results"], rows.map((each) => [shortItem(each.item),
      each.attempts, each.codes.map((code) => `${code.code} (${code.attempts})`).join(", ")])) : h("p", {}, "Nothing has failed there."));
    if (rows.length) await failurePlot(plots.failures, rows.slice(0, 20));
    else update(plots.failures);
  }

  async function readTrend() {
    const {measurements} = await get("/statistics/measurements");
    const names = measurements.map((each) => `${shortItem(each.item)} ${each.name}`);
    const chosenName = values.trend || names[0] || "";
    if (chosenName && !names.includes(chosenName)) names.push(chosenName);
    const split = chosenName.indexOf(" ");
    const form = h("form", {class: "filters", onsubmit: (event) => {
      event.preventDefault();
      apply(Object.fromEntries(new FormData(form)));
    }},
    field("Measurement", choice("trend", names.map((each) => [each, each]), chosenName, {name: "trend"})),
    field("Serial number of one camera", h("input", {id: "trend-serial", name: "serial", value: values.serial ?? ""})),
    h("button", {}, "Draw"));
    if (split < 0) {
      update(places.trend, form, h("p", {}, "Nothing has been measured yet."));
      return;
    }
    const {points} = await get(`/statistics/trend${query({item: `test.items.${chosenName.slice(0, split)}`, measurement: chosenName.slice(split + 1),
      serial: values.serial, ...period(values)})}`);
    points.reverse();
    update(places.trend, form, points.length ? table("The course, oldest first", ["When", "Serial", "Value", "Limits"], points.map((each) =>
      [h("a", {href: `#/run/${each.run}`}, moment(each.started_at)), each.serial, `${number(each.value)} ${each.unit}`,
        each.lower === null && each.upper === null ? "" : `${number(each.lower)} … ${number(each.upper)}`]))
      : h("p", {}, "It was not measured there."));
    if (points.length) await trendPlot(plots.trend, points, points[0].unit);
    else update(plots.trend);
  }

  async function readCurves() {
    const read = await get(`/statistics/curves${query({serial: values.serial, limit: kLines.length})}`);
    const curves = read.curves.filter((each) => each.points.length).map((each) => ({...each, points: coolDown(each.points)}));
    const coldest = (curve) => Math.min(...curve.points.map(([, kelvin]) => kelvin));
    const coldAfter = (curve) => curve.points.find(([, kelvin]) => kelvin <= coldest(curve) + 1)[0];
    update(places.curves, curves.length ? table("The latest cool-downs", ["When", "Serial", "Coldest", "Within 1 K of it after"], curves.map((each) =>
      [h("a", {href: `#/run/${each.run}`}, moment(each.started_at)), each.serial, `${number(coldest(each))} K`, lasting(1000 * coldAfter(each))]))
      : h("p", {}, "No cooler has been tested there."));
    if (curves.length) await curvePlot(plots.curves, curves);
    else update(plots.curves);
  }

  const turn = turns();
  async function read() {
    const isLatest = turn();
    problems.clear();
    for (const each of [readYield, readFailures, readTrend, readCurves]) {
      if (!isLatest()) return;
      await each().catch((error) => problems.show(error));
    }
  }

  return {
    title: "Statistics",
    element: h("div", {}, filters, problems.element,
      section("First-pass yield", plots.yields, places.yields),
      section("What fails", plots.failures, places.failures),
      section("Course of a measurement", h("p", {class: "faint"}, "Of all plans and variants in that time; of one camera by its serial number."), plots.trend, places.trend),
      section("Cool-down curves", h("p", {class: "faint"}, "The latest ones; of one camera by the serial number above."), plots.curves, places.curves)),
    onNews(kind) {
      if (kind !== "reload") return;
      update(filters, filterForm(values, ["plan", "variant", "from", "to"], apply));
      read();
    },
    close: () => Object.values(plots).forEach((each) => each.chart?.destroy()),
  };
}
