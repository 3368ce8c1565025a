// SPDX-License-Identifier: Apache-2.0

// How elements are made and values are shown. Whatever came from the store goes through here as text, never as HTML.

export const $ = (id) => document.getElementById(id);

/** An element: h("td", { class: "number", onclick: … }, "text", other). */
export function h(tag, properties = {}, ...children) {
  return fill(document.createElement(tag), properties, children);
}

export function svg(tag, properties = {}, ...children) {
  return fill(document.createElementNS("http://www.w3.org/2000/svg", tag), properties, children);
}

function fill(element, properties, children) {
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
    else if (name === "value" || name === "checked" || name === "indeterminate") element[name] = value;
    else element.setAttribute(name, value === true ? "" : value);
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined && child !== false));
  return element;
}

/** A count whose groups of three stand apart by style alone, so that what is read, found and copied is the plain number. */
export function grouped(count) {
  const text = String(count);
  const groups = [];
  for (let end = text.length; end > 0; end -= 3) groups.unshift(text.slice(Math.max(0, end - 3), end));
  return h("span", { class: "count" }, groups.map((group) => h("span", {}, group)));
}

export const isTime = (value) => value !== null && typeof value === "object" && "$date" in value;

export function milliseconds(value) {
  const date = value.$date;
  return typeof date === "object" ? Number(date.$numberLong) : Date.parse(date);
}

/** The number that a value is; null for any other. A time counts its milliseconds. */
export function numberOf(value) {
  if (typeof value === "number") return value;
  if (value === null || typeof value !== "object") return null;
  if ("$numberDouble" in value) return { NaN: NaN, Infinity: Infinity, "-Infinity": -Infinity }[value.$numberDouble];
  if ("$numberLong" in value) return Number(value.$numberLong);
  return isTime(value) ? milliseconds(value) : null;
}

export function textOf(value) {
  if (value === null || value === undefined) return "";
  if (isTime(value)) return timeText(milliseconds(value));
  if (typeof value === "object") return value.$numberDouble ?? value.$numberLong ?? JSON.stringify(value);
  return String(value);
}

/** A time in UTC, with no more of it than it says: a date alone at midnight, no seconds where there are none. */
export function timeText(time) {
  if (!Number.isFinite(time) || Math.abs(time) > 8.64e15) return String(time);
  const iso = new Date(time).toISOString();
  if (iso.endsWith("T00:00:00.000Z")) return iso.replace("T00:00:00.000Z", "");
  return iso.replace("T", " ").replace(/(:00)?\.000Z$/, "").replace(/Z$/, "");
}

/** A computed number, with no more digits than somebody compares by eye. */
export function figure(value) {
  const number = numberOf(value);
  if (number === null) return textOf(value);
  return isTime(value) ? textOf(value) : String(Number(number.toPrecision(6)));
}

export function button(text, onclick, properties = {}) {
  return h("button", { type: "button", onclick, ...properties }, text);
}

/** Fills a select and keeps its choice. */
export function choice(label, entries, chosen, onchange) {
  const select = h("select", { onchange: () => onchange(select.value) },
    entries.map(([value, text]) => h("option", { value }, text)));
  select.value = entries.some(([value]) => value === chosen) ? chosen : entries[0]?.[0] ?? "";
  return h("label", { class: "choice" }, h("span", {}, label), select);
}

const dialog = $("dialog");
let closed = null;

/** Shows a dialog; `onclose` is told when the person leaves it. */
export function showDialog(name, content, onclose = null) {
  closed = null;
  if (dialog.open) dialog.close();
  dialog.setAttribute("aria-label", name);
  dialog.replaceChildren(
    h("div", { class: "bar" }, h("h2", { tabindex: "-1" }, name), h("span", { class: "gap" }),
      button("Close", () => dialog.close())),
    content);
  dialog.showModal();
  dialog.querySelector("h2").focus();
  closed = onclose;
}

export function hideDialog() {
  closed = null;
  if (dialog.open) dialog.close();
}

dialog.addEventListener("close", () => {
  const told = closed;
  closed = null;
  if (told) told();
});
dialog.addEventListener("click", (event) => {
  if (event.target === dialog) dialog.close();
});
