// SPDX-License-Identifier: Apache-2.0

// A change of records, with --write: what it would do is shown first, and only then it can be written. The condition
// that goes with it says what the records were when it was shown, so that what somebody else changed in between is left
// alone and told.

import { ask, change } from "./api.js";
import { button, h, hideDialog, isTime, numberOf, showDialog, textOf, milliseconds } from "./dom.js";
import { escaped, quoted } from "./filter.js";

const mostShown = 20;

const inOption = (name) => escaped(name).replace(/=/g, "\\=");

function valueIn(record, field, name) {
  return (field === "category" ? record.categories : record.descriptions)[name] ?? null;
}

/** That a record still has the value that was shown. */
function still(field, name, value) {
  const full = `${field}:${quoted(name)}`;
  if (value === null) return `not has ${full}`;
  if (isTime(value)) return `${full}=${new Date(milliseconds(value)).toISOString()}`;
  const number = numberOf(value);
  if (number !== null) return Number.isNaN(number) ? `has ${full}` : `${full}=${value?.$numberLong ?? value?.$numberDouble ?? value}`;
  return typeof value === "boolean" ? `${full}=${value}` : `${full}="${String(value).replace(/[\\"]/g, "\\$&")}"`;
}

export async function changeDialog(about, kind, names, ids, ondone) {
  const records = [];
  for (const id of ids.slice(0, mostShown)) records.push((await ask("record", id, { kind })).results[0]);
  const field = h("select", {}, h("option", { value: "category" }, "category"), h("option", { value: "description" }, "description"));
  const list = h("datalist", { id: "change-names" }, [...names.categories, ...names.descriptions].map((name) => h("option", { value: name })));
  const name = h("input", { type: "text", list: "change-names", required: true, autocomplete: "off" });
  const value = h("input", { type: "text", autocomplete: "off", placeholder: "empty takes it away" });
  const preview = h("div", { role: "status", "aria-label": "What would change" });
  const write = button("Write", () => {}, { class: "main", disabled: true });
  const reset = () => {
    write.disabled = true;
    preview.replaceChildren();
  };
  name.addEventListener("input", () => {
    if (names.categories.includes(name.value) !== names.types.has(name.value))
      field.value = names.types.has(name.value) ? "description" : "category";
    reset();
  });
  for (const one of [field, value]) one.addEventListener("input", reset);

  const parameters = () => {
    const given = { kind, id: ids };
    if (value.value === "") given.unset = `${field.value}:${escaped(name.value)}`;
    else given[field.value] = `${inOption(name.value)}=${value.value}`;
    return given;
  };

  const tell = (text) => preview.replaceChildren(h("p", { role: "alert" }, text));

  async function show() {
    reset();
    try {
      const { results: [result] } = await change({ ...parameters(), "dry-run": "true" }, about.token);
      const rows = records.map((record) => {
        const before = valueIn(record, field.value, name.value);
        return h("tr", {}, h("th", { scope: "row", class: "id" }, record.id), h("td", { dir: "auto" }, before === null ? "none" : textOf(before)),
          h("td", {}, "→"), h("td", { dir: "auto" }, value.value === "" ? "none" : value.value));
      });
      preview.replaceChildren(
        h("p", {}, `${result.changed} would change` + (result.unchanged ? `, ${result.unchanged} are so already` : "") +
          (result.skipped ? `, ${result.skipped} skipped` : "") + (result.failed ? `, ${result.failed} would fail: ${result.reasons ?? ""}` : "")),
        h("table", { class: "plain", "aria-label": "Change" }, h("thead", {}, h("tr", {}, h("th", { scope: "col" }, "record"), h("th", { scope: "col" }, "is"), h("td"), h("th", { scope: "col" }, "becomes"))),
          h("tbody", {}, rows)),
        ids.length > mostShown ? h("p", { class: "quiet" }, `and ${ids.length - mostShown} more`) : "");
      write.disabled = result.changed === 0;
    } catch (error) {
      tell(error.message);
    }
  }

  write.addEventListener("click", async () => {
    write.disabled = true;
    try {
      const values = new Set(records.map((record) => still(field.value, name.value, valueIn(record, field.value, name.value))));
      const where = ids.length > mostShown ? "" : [...values].join(" or ");
      const { results: [result] } = await change({ ...parameters(), where }, about.token);
      const missed = ids.length - result.changed - result.unchanged - result.skipped - result.failed;
      if (missed === 0 && result.failed === 0) {
        hideDialog();
        showDialog("Changed", h("p", { role: "status" }, `${result.changed} ${result.changed === 1 ? "record" : "records"} changed.`), ondone);
        return;
      }
      tell(`${result.changed} changed. ${missed > 0 ? `${missed} left alone: somebody else changed or removed them meanwhile. ` : ""}` +
        `${result.failed > 0 ? `${result.failed} failed: ${result.reasons ?? ""}` : ""}`);
    } catch (error) {
      tell(error.message);
    }
  });

  showDialog(`Change ${ids.length === 1 ? "a record" : `${ids.length} records`}`, h("form", { class: "change", onsubmit: (event) => {
    event.preventDefault();
    show();
  } },
  h("label", {}, h("span", {}, "what"), field), h("label", {}, h("span", {}, "name"), name, list), h("label", {}, h("span", {}, "becomes"), value),
  h("div", { class: "bar" }, h("button", { type: "submit" }, "Show the change"), write), preview), ondone);
}
