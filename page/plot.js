// SPDX-License-Identifier: Apache-2.0

// Points of two descriptions, or a bar for each group's mean, as SVG of our own: it takes its colours from the style
// sheet, so that it follows the scheme, and a series is one path, so that thousands of points cost a handful of elements.

import { ask } from "./api.js";
import { choice, figure, h, numberOf, svg, timeText } from "./dom.js";
import { both, escaped } from "./filter.js";

const mostPoints = 5000;
const mostSeries = 6;
const mostBars = 40;
const width = 640;
const height = 300;
const left = 62;
const right = 12;
const top = 10;
const bottom = 34;

/** Round values on an axis, some five of them. */
function ticks(low, high, areTimes) {
  if (!(high > low)) return [low];
  const rough = (high - low) / 5;
  let step;
  if (areTimes) {
    const units = [1, 1000, 6e4, 36e5, 864e5, 6048e5, 2592e6, 31536e6].flatMap((unit) => [unit, 2 * unit, 5 * unit, 10 * unit, 20 * unit]).sort((a, b) => a - b);
    step = units.find((unit) => unit >= rough) ?? 10 ** Math.ceil(Math.log10(rough));
  } else {
    const power = 10 ** Math.floor(Math.log10(rough));
    step = [1, 2, 5, 10].map((factor) => factor * power).find((one) => one >= rough);
  }
  const result = [];
  for (let i = Math.ceil(low / step); i * step <= high && result.length < 20; ++i) result.push(Number((i * step).toPrecision(12)));
  return result.length > 0 ? result : [low];
}

const tickText = (value, areTimes) => (areTimes ? timeText(value) : String(Number(value.toPrecision(6))));

function frame(xs, ys, xIsTime, yIsTime, xName, yName, title) {
  const [x0, x1] = xs;
  const [y0, y1] = ys;
  const x = (value) => left + (x1 > x0 ? (value - x0) / (x1 - x0) : 0.5) * (width - left - right);
  const y = (value) => height - bottom - (y1 > y0 ? (value - y0) / (y1 - y0) : 0.5) * (height - top - bottom);
  const picture = svg("svg", { viewBox: `0 0 ${width} ${height}`, role: "img", "aria-label": title, class: "plot" });
  for (const tick of ticks(y0, y1, yIsTime)) {
    picture.append(svg("line", { class: "grid", x1: left, x2: width - right, y1: y(tick), y2: y(tick) }),
      svg("text", { class: "tick", x: left - 6, y: y(tick) + 4, "text-anchor": "end" }, tickText(tick, yIsTime)));
  }
  if (xs !== noScale) {
    for (const tick of ticks(x0, x1, xIsTime)) {
      picture.append(svg("line", { class: "grid", x1: x(tick), x2: x(tick), y1: top, y2: height - bottom }),
        svg("text", { class: "tick", x: x(tick), y: height - bottom + 15, "text-anchor": "middle" }, tickText(tick, xIsTime)));
    }
  }
  const cut = (text) => (text.length > 50 ? `${text.slice(0, 49)}…` : text);
  picture.append(svg("text", { class: "axis", x: (left + width - right) / 2, y: height - 4, "text-anchor": "middle" }, cut(xName)),
    svg("text", { class: "axis", x: 0, y: 0, transform: `translate(11 ${(height - bottom + top) / 2}) rotate(-90)`, "text-anchor": "middle" }, cut(yName)));
  return { picture, x, y };
}

const noScale = [0, 1];

const extent = (values) => values.reduce(([low, high], value) => [Math.min(low, value), Math.max(high, value)], [Infinity, -Infinity]);

/** Whole numbers stand on few values, so that points would hide each other: each is told by the others' share of ink. */
function points(records, { xOf, yOf, xIsTime, yIsTime, xName, yName, colour, count }) {
  const taken = records.map((record) => ({ x: numberOf(xOf(record)), y: numberOf(yOf(record)), series: colour ? record.categories[colour] ?? null : "" }))
    .filter((point) => Number.isFinite(point.x) && Number.isFinite(point.y));
  if (taken.length === 0) return [h("p", { class: "quiet" }, "No record has both.")];
  const sizes = new Map();
  for (const point of taken) sizes.set(point.series, (sizes.get(point.series) ?? 0) + 1);
  const ranked = [...sizes].sort((one, other) => other[1] - one[1]).map(([series]) => series);
  const shown = ranked.length > mostSeries ? ranked.slice(0, mostSeries - 1) : ranked;
  const { picture, x, y } = frame(extent(taken.map((point) => point.x)), extent(taken.map((point) => point.y)), xIsTime, yIsTime,
    xName, yName, `${yName} against ${xName}, ${taken.length} records${colour ? `, coloured by ${colour}` : ""}`);
  const paths = new Map();
  for (const point of taken) {
    const place = shown.includes(point.series) ? shown.indexOf(point.series) : mostSeries - 1;
    paths.set(place, `${paths.get(place) ?? ""}M${x(point.x).toFixed(1)} ${y(point.y).toFixed(1)}h0`);
  }
  const isDense = taken.length > 600;
  for (const [place, path] of [...paths].sort(([one], [other]) => other - one))
    picture.append(svg("path", { class: `points series${place}${isDense ? " dense" : ""}`, d: path }));
  const legend = colour ? h("ul", { class: "legend" }, [...paths.keys()].sort().map((place) => h("li", {},
    h("i", { class: `series${place}` }), h("span", { dir: "auto" },
      shown[place] === undefined ? `${ranked.length - shown.length} others` : shown[place] ?? "none")))) : "";
  const note = records.length < count ? h("p", { class: "quiet" }, `${taken.length} of the first ${records.length} of ${count} records`) : "";
  return [picture, legend, note];
}

function means(figures, name, by) {
  const shown = figures.filter((one) => one.count > 0 && Number.isFinite(numberOf(one.mean)));
  if (shown.length === 0) return [h("p", { class: "quiet" }, "No group has numbers.")];
  const widest = shown.sort((one, other) => numberOf(other.mean) - numberOf(one.mean)).slice(0, mostBars);
  const most = Math.max(...widest.map((one) => Math.abs(numberOf(one.mean))), Number.MIN_VALUE);
  const rows = widest.map((one) => {
    const bar = h("span", { class: "bar-of", "aria-hidden": "true" });
    bar.style.setProperty("--part", Math.abs(numberOf(one.mean)) / most);
    return h("tr", {}, h("th", { scope: "row", dir: "auto", title: one.by[by]?.slice(0, 2000) ?? null }, one.by[by] ?? "none"), h("td", { class: "bars" }, bar),
      h("td", { class: "number" }, figure(one.mean)), h("td", { class: "number quiet" }, String(one.count)));
  });
  return [h("div", { class: "scroll", tabindex: "0", role: "group", "aria-label": "Means" }, h("table", { class: "means" }, h("thead", {}, h("tr", {}, h("th", { scope: "col" }, by), h("td"),
    h("th", { scope: "col", class: "number" }, `mean ${name}`), h("th", { scope: "col", class: "number" }, "records"))), h("tbody", {}, rows))),
  shown.length > mostBars ? h("p", { class: "quiet" }, `the largest ${mostBars} of ${shown.length} groups`) : ""];
}

export async function showPlot(element, { kind, where, names, state, go, signal, count }) {
  const numeric = names.descriptions.filter((name) => names.isNumeric(name));
  const times = names.descriptions.filter((name) => names.isTime(name));
  const isBars = state.plot === "bars" && names.categories.length > 0;
  const usual = numeric.find((name) => names.types.get(name) === "double") ?? numeric[0];
  const yName = numeric.includes(state.y) ? state.y : usual;
  const xs = [["", "created"], ...[...numeric, ...times].map((name) => [`=${name}`, name])];
  const other = times[0] ?? numeric.find((name) => name !== yName);
  const x = state.x === "created" ? "" : xs.some(([key]) => key === `=${state.x}`) ? `=${state.x}` : other ? `=${other}` : "";
  const colour = names.categories.includes(state.colour) ? state.colour : "";
  const group = colour || names.categories[0];
  const bar = h("div", { class: "bar" }, h("h2", {}, "Plot"), h("span", { class: "gap" }),
    choice("show", [["points", "points"], ["bars", "means"]], isBars ? "bars" : "points", (plot) => go({ plot })),
    choice(isBars ? "of" : "y", numeric.map((name) => [name, name]), yName, (y) => go({ y })),
    isBars ? choice("by", names.categories.map((name) => [name, name]), group, (name) => go({ colour: name }))
      : [choice("x", xs, x, (key) => go({ x: key === "" ? "created" : key.slice(1) })),
        choice("colour", [["", "one"], ...names.categories.map((name) => [name, name])], colour, (name) => go({ colour: name }))]);
  const show = (content) => {
    const label = element.contains(document.activeElement) ? document.activeElement.closest("label")?.firstChild.textContent : null;
    element.replaceChildren(bar, ...content);
    if (label) [...element.querySelectorAll("label")].find((one) => one.firstChild.textContent === label)?.querySelector("select").focus();
  };
  if (yName === undefined || count === 0) {
    element.replaceChildren(h("div", { class: "bar" }, h("h2", {}, "Plot")),
      h("p", { class: "quiet" }, yName === undefined ? "No description has numbers." : "No record matches."));
    return;
  }
  if (element.childElementCount === 0) show([h("div", { class: "plot skeleton" })]);
  if (isBars) {
    const { results } = await ask("stats", null, { kind, where, columns: escaped(yName), by: escaped(group) }, signal);
    show(means(results, yName, group));
    return;
  }
  const xName = x === "" ? "created" : x.slice(1);
  const columns = [names.inList("description", yName), ...(x === "" ? [] : [names.inList("description", xName)]),
    ...(colour ? [names.inList("category", colour)] : [])];
  const has = [yName, ...(x === "" ? [] : [xName])].map((name) => `has ${names.inFilter("description", name)}`).join(" and ");
  const { results } = await ask("list", null, { kind, where: both(where, has), columns: columns.join(","), limit: mostPoints }, signal);
  show(points(results, {
    xOf: (record) => (x === "" ? record.created : record.descriptions[xName] ?? null), yOf: (record) => record.descriptions[yName] ?? null,
    xIsTime: x === "" || names.isTime(xName), yIsTime: false, xName, yName, colour, count,
  }));
}
