// SPDX-License-Identifier: Apache-2.0
import { ask } from "./api.js";
import { button, grouped, h, svg, timeText } from "./dom.js";
import { both, chosenRange, chosenValues, quoted, without, withRange, withValues } from "./filter.js";

const shownValues = 20;
const shownCategories = 8;
const shownDescriptions = 6;
const bins = 32;

/** The facets beside the records: ticks for categories, two handles for numbers and times. */
export class Facets {
  constructor(element, setFilter) {
    this.element = element;
    this.setFilter = setFilter;
    this.groups = new Map(); // what is shown of each name, so that an answer changes it in place
    this.searches = new Map();
    this.isWhole = false;
  }

  forget() {
    this.groups.clear();
    this.searches.clear();
    this.isWhole = false;
    this.element.replaceChildren();
  }

  /** Asks for what stands beside these conditions, and shows it as it comes. */
  async show(kind, names, conditions, signal) {
    this.context = { kind, names, conditions, signal };
    const categories = names.categories;
    const descriptions = names.descriptions.filter((name) => names.isNumeric(name) || names.isTime(name));
    const shown = [
      ...categories.slice(0, this.isWhole ? undefined : shownCategories).map((name) => ["category", name]),
      ...descriptions.slice(0, this.isWhole ? undefined : shownDescriptions).map((name) => ["description", name]),
    ];
    const wanted = shown.map(([field, name]) => this.group(field, name));
    const hidden = categories.length + descriptions.length - shown.length;
    const elements = wanted.map((group) => group.element);
    if (hidden > 0) elements.push(button(`${hidden} more`, () => {
      this.isWhole = true;
      const { kind: sameKind, names: sameNames, conditions: same, signal: asked } = this.context;
      this.show(sameKind, sameNames, same, asked).catch(() => {});
    }, { class: "plain" }));
    const isSame = elements.length === this.element.children.length &&
      elements.every((element, i) => element === this.element.children[i]);
    if (!isSame) this.element.replaceChildren(...elements);
    await Promise.all(shown.map(([field, name], i) =>
      field === "category" ? this.showValues(wanted[i], name) : this.showHistogram(wanted[i], name)));
  }

  group(field, name) {
    const key = `${field}:${name}`;
    if (!this.groups.has(key)) {
      const body = h("div", { class: field === "category" ? "values skeleton" : "histogram skeleton" });
      const element = h("fieldset", {}, h("legend", { title: name.slice(0, 2000) }, name), body);
      this.groups.set(key, { element, body });
    }
    return this.groups.get(key);
  }

  async showValues(group, name) {
    const { kind, conditions, names, signal } = this.context;
    const chosen = chosenValues(conditions, name);
    const search = this.searches.get(name) ?? "";
    let where = without(conditions, "category", name);
    const others = where;
    if (search !== "")
      where = both(where, `category:${quoted(name)}~i${asPattern(search)}`);
    const { results } = await ask("facets", name, { kind, where, limit: shownValues + 1 }, signal);
    const missing = chosen.filter((value) => !results.some((one) => one.value === value));
    const listed = results.slice(0, shownValues);
    if (missing.length > 0 && search === "") {
      // What is ticked is shown even where others are wider.
      const ofChosen = await ask("facets", name, {
        kind, where: both(others, `category:${quoted(name)} in (${missing.map((one) => `"${one.replace(/[\\"]/g, "\\$&")}"`).join(", ")})`),
      }, signal);
      const counts = new Map(ofChosen.results.map((one) => [one.value, one.count]));
      for (const value of missing) listed.push({ value, count: counts.get(value) ?? 0 });
    }
    group.hasMore = group.hasMore || results.length > shownValues;
    const widest = Math.max(1, ...listed.map((one) => one.count));
    const rows = listed.map(({ value, count }) => {
      const isChosen = chosen.includes(value);
      const bar = h("span", { class: "bar-of", "aria-hidden": "true" });
      bar.style.setProperty("--part", count / widest);
      return h("label", { class: "value", title: value.slice(0, 2000) },
        h("input", {
          type: "checkbox", checked: isChosen, "aria-label": `${value === "" ? "(empty)" : value} ${count}`,
          "data-key": `${name}\n${value}`,
          onchange: () => this.setFilter(withValues(this.context.conditions, names, name,
            isChosen ? chosen.filter((one) => one !== value) : [...chosen, value])),
        }),
        h("span", { class: "text", dir: "auto" }, value === "" ? "(empty)" : value), grouped(count), bar);
    });
    if (rows.length === 0) rows.push(h("p", { class: "quiet" }, search === "" ? "none" : "none of this text"));
    const list = h("div", { class: "values" }, rows);
    const content = [list];
    if (group.hasMore) {
      group.search ??= h("input", {
        type: "search", class: "small", "aria-label": `Find in ${name.slice(0, 200)}`, placeholder: "find others",
        oninput: () => {
          this.searches.set(name, group.search.value);
          clearTimeout(group.timer);
          group.timer = setTimeout(() => this.showValues(group, name).catch(() => {}), 200);
        },
      });
      content.unshift(group.search);
    }
    replaceKeepingFocus(group, content);
  }

  async showHistogram(group, name) {
    const { kind, conditions, names, signal } = this.context;
    const where = without(conditions, "description", name);
    const { results: [answer] } = await ask("histogram", name, { kind, where, bins }, signal);
    if (answer.counts.length === 0) {
      replaceKeepingFocus(group, [h("p", { class: "quiet" }, "none")]);
      return;
    }
    const isInteger = ["int", "long"].includes(names.types.get(name));
    const low = answer.low;
    const high = low + answer.width * answer.counts.length;
    const isOne = answer.counts.length === 1;
    const range = chosenRange(conditions, name);
    const asNumber = (text) => (answer.times ? Date.parse(text) : Number(text));
    const steps = scale(low, isOne ? low : high, answer.times, isInteger);
    const last = steps.length - 1;
    const placeOf = (text, otherwise) => {
      const number = asNumber(text ?? "x");
      if (Number.isNaN(number)) return otherwise;
      let best = 0;
      for (let i = 1; i <= last; ++i) if (Math.abs(steps[i] - number) < Math.abs(steps[best] - number)) best = i;
      return best;
    };
    const start = placeOf(range.from, 0);
    const end = placeOf(range.to, last);
    const shown = (value) => (answer.times ? timeText(value) : String(value));
    const written = (value) => (answer.times ? new Date(value).toISOString().replace(".000Z", "Z") : String(value));
    const handle = (which, place) => h("input", {
      type: "range", min: 0, max: last, value: place, "aria-label": which, "aria-valuetext": shown(steps[place]),
      "data-key": `${name}\n${which}`, disabled: last === 0,
    });
    const from = handle("from", start);
    const to = handle("to", end);
    const ends = h("div", { class: "ends quiet" }, h("span", {}, shown(steps[start])), h("span", {}, shown(steps[end])));
    const picture = bars(answer.counts, isOne ? 1 : answer.counts.length);
    const mark = () => {
      const [a, b] = [Number(from.value), Number(to.value)];
      ends.firstChild.textContent = shown(steps[Math.min(a, b)]);
      ends.lastChild.textContent = shown(steps[Math.max(a, b)]);
      from.setAttribute("aria-valuetext", shown(steps[a]));
      to.setAttribute("aria-valuetext", shown(steps[b]));
      picture.style.setProperty("--from", last === 0 ? 0 : Math.min(a, b) / last);
      picture.style.setProperty("--to", last === 0 ? 1 : Math.max(a, b) / last);
    };
    const set = () => {
      const [a, b] = [Number(from.value), Number(to.value)].sort((one, other) => one - other);
      this.setFilter(withRange(this.context.conditions, names, name, a === 0 ? null : written(steps[a]),
        b === last ? null : written(steps[b])));
    };
    for (const slider of [from, to]) {
      slider.addEventListener("input", () => {
        mark();
        clearTimeout(group.timer);
        group.timer = setTimeout(set, 250);
      });
    }
    mark();
    replaceKeepingFocus(group, [h("div", { class: "histogram" }, picture, h("div", { class: "handles" }, from, to), ends)]);
  }
}

function asPattern(text) {
  return `"${text.replace(/[.*+?^${}()|[\]\\/-]/g, "\\$&").replace(/[\\"]/g, "\\$&")}"`;
}

/** Round values from `low` to `high`, some eighty of them, both ends included. */
function scale(low, high, areTimes, areIntegers) {
  if (!(high > low)) return [low];
  const rough = (high - low) / 80;
  let step;
  if (areTimes) {
    const units = [1000, 10e3, 60e3, 600e3, 36e5, 216e5, 864e5, 6048e5, 2592e6, 7776e6, 31536e6];
    step = units.find((unit) => unit >= rough) ?? rough;
  } else {
    const power = 10 ** Math.floor(Math.log10(rough));
    step = [1, 2, 5, 10].map((factor) => factor * power).find((one) => one >= rough);
    if (areIntegers) step = Math.max(1, Math.round(step));
  }
  const digits = areTimes ? 0 : Math.max(0, Math.ceil(-Math.log10(step)));
  const first = Math.floor(low / step);
  const last = Math.ceil(high / step);
  const result = [];
  for (let i = first; i <= last && result.length < 400; ++i)
    result.push(areTimes ? i * step : Number((i * step).toFixed(Math.min(digits, 20))));
  return result;
}

function bars(counts) {
  const widest = Math.max(1, ...counts);
  const picture = svg("svg", { viewBox: `0 0 ${counts.length} 24`, preserveAspectRatio: "none", "aria-hidden": "true" });
  picture.append(...counts.map((count, i) => {
    const height = count === 0 ? 0 : Math.max(1, (count / widest) * 24);
    return svg("rect", { x: i + 0.06, y: 24 - height, width: 0.88, height });
  }));
  return h("div", { class: "picture" }, picture);
}

/** Shows new content without taking the focus from what stays the same. */
function replaceKeepingFocus(group, content) {
  const active = document.activeElement;
  const isInside = group.body.contains(active);
  const key = isInside ? active.dataset.key : undefined;
  group.body.className = "";
  group.body.replaceChildren(...content);
  if (!isInside) return;
  if (group.search && active === group.search) group.search.focus();
  else [...group.body.querySelectorAll("[data-key]")].find((one) => one.dataset.key === key)?.focus();
}
