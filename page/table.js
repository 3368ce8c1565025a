// SPDX-License-Identifier: Apache-2.0
import { button, grouped, h, isTime, numberOf, textOf } from "./dom.js";

/** What a column shows: the id, the time of making, a category or a description. */
export function valueOf(record, column) {
  if (column.kind === "id") return record.id;
  if (column.kind === "created") return record.created;
  return (column.kind === "category" ? record.categories : record.descriptions)[column.name] ?? null;
}

const longestTitle = 2000;

/** A column's numbers, cut to what a person compares; the whole stands in the record. */
function layoutOf(records, column) {
  const values = records.map((record) => valueOf(record, column)).filter((value) => value !== null);
  const areNumbers = values.length > 0 && values.every((value) => numberOf(value) !== null && !isTime(value));
  const decimals = areNumbers ? Math.max(0, ...values.map((value) => decimalsOf(textOf(value)))) : 0;
  return { areNumbers, decimals };
}

function decimalsOf(text) {
  const point = text.indexOf(".");
  return point < 0 || text.includes("e") ? 0 : text.length - point - 1;
}

export function idText(id) {
  if (!/^[0-9a-f]{24}$/.test(id)) return [h("span", { class: "text" }, id)];
  return [h("span", { class: "head" }, id.slice(0, 18)), h("span", { class: "tail" }, id.slice(18))];
}

function cell(value, column, layout, open) {
  if (column.kind === "id")
    return h("td", { class: "id" }, h("a", { href: open.address, title: value, onclick: open.go }, idText(value)));
  const text = textOf(value);
  if (value === null) return h("td", { class: layout.areNumbers ? "number" : "" });
  if (!layout.areNumbers || isTime(value))
    return h("td", { class: isTime(value) ? "time" : "", title: text.length > 24 ? text.slice(0, longestTitle) : null, dir: "auto" }, text);
  // Figure spaces in the place of missing decimals, by style alone: digits stand one below the other.
  const missing = layout.decimals - decimalsOf(text);
  const point = decimalsOf(text) === 0 && layout.decimals > 0 ? "\u2008" : "";
  return h("td", { class: "number", "data-pad": point + "\u2007".repeat(Math.max(0, missing)) }, text);
}

/**
 * The table of records. `on` has sort(column, isMore), choose(id, isChosen), chooseAll(ids, isChosen), open(id) and
 * address(id).
 */
export function recordTable(records, columns, sort, chosen, on) {
  const layouts = columns.map((column) => layoutOf(records, column));
  const all = records.map((record) => record.id);
  const chosenHere = all.filter((id) => chosen.includes(id)).length;
  const headings = columns.map((column, i) => {
    // The time of making and the id are one order; the arrow stands where people look for it.
    const isOther = column.kind === "id" && columns.some((one) => one.kind === "created");
    const direction = isOther ? undefined : sort.find((one) => one.key === column.key || (one.key === "created" && column.kind === "created"));
    return h("th", {
      scope: "col", class: layouts[i].areNumbers ? "number" : "",
      "aria-sort": direction ? (direction.isDescending ? "descending" : "ascending") : null,
    }, button([h("span", { class: "text" }, column.heading), h("span", { class: "arrow", "aria-hidden": "true" },
      direction ? (direction.isDescending ? "↓" : "↑") : "")], (event) => on.sort(column, event.shiftKey),
    { class: "heading", title: `Sort by ${column.heading.slice(0, longestTitle)}` }));
  });
  const rows = records.map((record) => h("tr", { class: chosen.includes(record.id) ? "chosen" : "", "data-id": record.id },
    h("td", { class: "choose" }, h("input", {
      type: "checkbox", checked: chosen.includes(record.id), "aria-label": `Choose ${record.id}`,
      onchange: (event) => on.choose(record.id, event.target.checked),
    })),
    columns.map((column, i) => cell(valueOf(record, column), column, layouts[i], {
      address: on.address(record.id),
      go: (event) => {
        if (event.ctrlKey || event.metaKey || event.shiftKey) return;
        event.preventDefault();
        on.open(record.id);
      },
    }))));
  return h("table", { "aria-label": "Records", class: "records" },
    h("thead", {}, h("tr", {},
      h("th", { class: "choose", scope: "col" }, h("input", {
        type: "checkbox", "aria-label": "Choose all on this page", checked: chosenHere > 0 && chosenHere === all.length,
        indeterminate: chosenHere > 0 && chosenHere < all.length,
        onchange: (event) => on.chooseAll(all, event.target.checked),
      })), headings)),
    h("tbody", {}, rows));
}

export function skeleton() {
  return h("div", { class: "skeleton rows", "aria-hidden": "true" }, Array.from({ length: 14 }, () => h("i")));
}

export function rangeText(first, count, all) {
  if (count === 0) return [];
  return [grouped(first + 1), "–", grouped(first + count), " of ", grouped(all)];
}
