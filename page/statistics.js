// SPDX-License-Identifier: Apache-2.0
import { ask } from "./api.js";
import { choice, figure, grouped, h, textOf } from "./dom.js";
import { escaped } from "./filter.js";

const mostRows = 200;

/** The figures of the numeric descriptions, whole or in groups. */
export async function showStatistics(element, { kind, where, names, state, go, signal, count }) {
  const by = names.categories.includes(state.by) ? state.by : "";
  const head = () => h("div", { class: "bar" }, h("h2", {}, "Statistics"), h("span", { class: "gap" }),
    choice("by", [["", "all together"], ...names.categories.map((name) => [name, name])], by, (name) => go({ by: name })),
    h("label", { class: "value" }, h("input", { type: "checkbox", checked: state.median !== "",
      onchange: (event) => go({ median: event.target.checked ? "1" : "" }) }), "median"));
  const show = (...content) => {
    const label = element.contains(document.activeElement) ? document.activeElement.closest("label")?.textContent : null;
    element.replaceChildren(head(), ...content);
    if (label) [...element.querySelectorAll("label")].find((one) => one.textContent === label)?.querySelector("select, input").focus();
  };
  const numeric = names.descriptions.filter((name) => names.isNumeric(name));
  if (numeric.length === 0 || count === 0) {
    show(h("p", { class: "quiet" }, numeric.length === 0 ? "No description has numbers." : "No record matches."));
    return;
  }
  if (element.childElementCount === 0) show();
  const { results } = await ask("stats", null, {
    kind, where, columns: numeric.slice(0, 40).map(escaped).join(","), by: escaped(by), median: state.median,
  }, signal);
  const columns = ["count", "missing", "min", "mean", "std", "max", ...(state.median ? ["median"] : [])];
  const shown = results.slice(0, mostRows);
  show(h("div", { class: "scroll", tabindex: "0", role: "group", "aria-label": "Figures" }, h("table", { class: "plain figures" },
    h("thead", {}, h("tr", {}, by ? h("th", { scope: "col" }, by) : null, h("th", { scope: "col" }, "name"),
      columns.map((column) => h("th", { scope: "col", class: "number" }, column)))),
    h("tbody", {}, shown.map((row) => h("tr", {},
      by ? h("td", { class: row.by[by] === null ? "quiet" : "", dir: "auto" }, row.by[by] ?? "none") : null,
      h("th", { scope: "row", dir: "auto" }, row.name),
      columns.map((column) => h("td", { class: "number" },
        column === "count" || column === "missing" ? grouped(row[column]) : row[column] === null ? "" :
          column === "min" || column === "max" ? textOf(row[column]) : figure(row[column])))))))),
  results.length > mostRows ? h("p", { class: "quiet" }, `the first ${mostRows} of ${results.length} groups`) : "");
}
