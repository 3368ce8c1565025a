// SPDX-License-Identifier: Apache-2.0
import { ask } from "./api.js";
import { button, figure, h, isTime, milliseconds, numberOf, showDialog, textOf } from "./dom.js";

function section(title, content) {
  return content === null ? null : h("section", {}, h("h3", {}, title), content);
}

function table(headings, rows) {
  if (rows.length === 0) return null;
  return h("table", { class: "plain" }, h("thead", {}, h("tr", {}, headings.map((one) => h("th", { scope: "col" }, one)))),
    h("tbody", {}, rows));
}

const nameCell = (name) => h("th", { scope: "row", dir: "auto" }, name);

function valueCell(value) {
  const isNumber = numberOf(value) !== null && !isTime(value);
  return h("td", { class: isNumber ? "number" : "whole", dir: "auto" },
    isTime(value) ? new Date(milliseconds(value)).toISOString() : textOf(value));
}

/** Where a file lies, as a link where the browser may follow it. */
function fileLink({ host, path }) {
  const isHere = host === "" || host === "localhost" || host === "127.0.0.1";
  const encoded = path.split("/").map(encodeURIComponent).join("/");
  const isUrl = /^https?:\/\//.test(path);
  return h("a", { href: isUrl ? path : `file://${isHere ? "" : encodeURIComponent(host)}${path.startsWith("/") ? "" : "/"}${encoded}`,
    rel: "noreferrer", target: "_blank" }, path);
}

/** A nested value as a tree that opens level by level. */
function tree(key, value) {
  const isBranch = value !== null && typeof value === "object" && !isTime(value) && numberOf(value) === null && !("$oid" in value);
  if (!isBranch) return h("li", {}, h("span", { class: "key" }, key), " ", h("span", { class: "whole", dir: "auto" }, leafText(value)));
  const entries = Object.entries(value);
  return h("li", {}, h("details", { open: entries.length <= 8 },
    h("summary", {}, h("span", { class: "key" }, key), h("span", { class: "quiet" }, ` ${Array.isArray(value) ? "list" : "group"} of ${entries.length}`)),
    h("ul", { class: "tree" }, entries.map(([name, one]) => tree(name, one)))));
}

const leafText = (value) => (value === null ? "null" : value?.$oid ?? textOf(value));

/** One record in full. */
export async function showRecord(kind, id, signal, onclose, change) {
  const { results: [record] } = await ask("record", id, { kind }, signal);
  const descriptions = Object.entries(record.descriptions);
  const data = Object.entries(record.data);
  showDialog(`Record ${record.id}`, h("div", { class: "record" },
    change ? h("div", { class: "bar" }, button("Change", () => change(record.id))) : null,
    record.created ? h("p", { class: "quiet" }, `created ${textOf(record.created)} UTC`) : null,
    section("Categories", table(["name", "value"], Object.entries(record.categories).map(([name, value]) =>
      h("tr", {}, nameCell(name), valueCell(value))))),
    section("Descriptions", table(["name", "kind", "value"], descriptions.map(([name, value]) =>
      h("tr", {}, nameCell(name), h("td", { class: "quiet" }, record.types[name] ?? ""), valueCell(value))))),
    section("Files", table(["kind", "host", "path"], record.files.map((file) =>
      h("tr", {}, h("td", {}, file.kind), h("td", {}, file.host), h("td", { class: "whole" }, fileLink(file)))))),
    record.sources.map((source) => section("Source", table(["", "value"], Object.entries(source).map(([name, value]) =>
      h("tr", {}, nameCell(name), valueCell(value)))))),
    section("User block", data.length === 0 ? null : h("ul", { class: "tree" }, data.map(([name, value]) => tree(name, value))))),
  onclose);
}

function differenceText(row, place) {
  const list = Array.isArray(row.difference) ? row.difference : [row.difference];
  const difference = numberOf(list[place - 1] ?? null);
  if (difference === null || difference === 0 || Number.isNaN(difference)) return "";
  const sign = (number) => (number > 0 ? "+" : "") + figure(number);
  if (isTime(row.values[0])) return `${sign(difference / 1000)} s`;
  const first = numberOf(row.values[0]);
  if (!first || !Number.isFinite(first)) return sign(difference);
  return `${sign(difference)} (${sign(Math.round((difference / Math.abs(first)) * 1e4) / 1e2)} %)`;
}

/** Records side by side; where one differs from the first it is marked, by more than colour. */
export async function showComparison(kind, ids, signal, onclose) {
  const { results } = await ask("compare", null, { kind, id: ids, all: "true" }, signal);
  const isSame = (one, other) => {
    const [a, b] = [numberOf(one), numberOf(other)];
    return a !== null && b !== null ? a === b || (Number.isNaN(a) && Number.isNaN(b)) : textOf(one) === textOf(other) && (one === null) === (other === null);
  };
  const rows = results.map((row) => {
    const isDifferent = row.values.some((value) => !isSame(row.values[0], value));
    return { isDifferent, element: h("tr", { class: isDifferent ? "differs" : "same" }, nameCell(row.name),
      row.values.map((value, i) => {
        const marked = i > 0 && !isSame(row.values[0], value);
        const difference = i > 0 ? differenceText(row, i) : "";
        return h("td", { class: `${numberOf(value) !== null && !isTime(value) ? "number" : ""}${marked ? " different" : ""}`, dir: "auto" },
          marked ? h("mark", {}, value === null ? "none" : textOf(value)) : textOf(value),
          difference === "" ? null : h("span", { class: "quiet" }, ` ${difference}`));
      })) };
  });
  const hideSame = h("input", { type: "checkbox", onchange: () => {
    for (const { isDifferent, element } of rows) element.hidden = hideSame.checked && !isDifferent;
  } });
  const count = rows.filter((row) => row.isDifferent).length;
  showDialog("Comparison", h("div", {},
    h("div", { class: "bar" }, h("span", {}, count === 0 ? "Nothing differs." : `${count} of ${rows.length} differ`),
      h("span", { class: "gap" }), h("label", { class: "value" }, hideSame, "only what differs")),
    h("div", { class: "scroll", tabindex: "0", role: "group", "aria-label": "Records side by side" }, h("table", { "aria-label": "Comparison", class: "plain" },
      h("thead", {}, h("tr", {}, h("th", { scope: "col" }, "name"), ids.map((id) => h("th", { scope: "col", class: "id" }, id)))),
      h("tbody", {}, rows.map((row) => row.element))))), onclose);
}
