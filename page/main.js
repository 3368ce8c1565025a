// SPDX-License-Identifier: Apache-2.0

// The page as a whole. Its state is the address (state.js); whatever a person does makes another address, and `refresh`
// shows what the address says. The parts know nothing of each other: they are given what to show, and tell by callbacks
// what was clicked. What is shown stays where it is until its successor is there, so that nothing jumps or blinks.

import { ask, Away, queryOf, Refusal } from "./api.js";
import { changeDialog } from "./change.js";
import { $, button, grouped, h, hideDialog, showDialog } from "./dom.js";
import { showComparison, showRecord } from "./dialogs.js";
import { Facets } from "./facets.js";
import { escaped, Names, split } from "./filter.js";
import { showPlot } from "./plot.js";
import { addressOf, initial, pageSize, read } from "./state.js";
import { showStatistics } from "./statistics.js";
import { rangeText, recordTable, skeleton } from "./table.js";

const mostCompared = 8;
const usualColumns = 12;
const patience = 200; // milliseconds before something says that an answer is awaited
const kinds = [["experiment", "Experiments"], ["scenario", "Scenarios"]];

let state = read();
let about = { store: "", write: false };
let names = new Names([]);
let namesOfKind = null;
let asking = new AbortController();
let conditions = [];
let shownCount = 0;
const facets = new Facets($("facets"), (where) => go({ where, skip: "" }));

function go(patch, isReplaced = false) {
  const next = { ...state, ...patch };
  const address = addressOf(next);
  if (address === addressOf(state) && location.pathname + location.search + location.hash === address) return;
  state = next;
  history[isReplaced ? "replaceState" : "pushState"](null, "", address);
  refresh();
}

window.addEventListener("popstate", () => {
  state = read();
  refresh();
});
window.addEventListener("hashchange", () => {
  state = read();
  refresh();
});

const chosenIds = () => split(state.rows).map((id) => id.replace(/\\(.)/gs, "$1"));
const idList = (ids) => ids.map(escaped).join(",");

// What stands around the records.

function showKinds(counts) {
  const list = $("kinds");
  if (list.children.length === 0) {
    list.append(...kinds.map(([kind, title]) => h("button", {
      type: "button", role: "tab", "data-kind": kind, "aria-controls": "records",
      onclick: () => state.kind !== kind && go(initial(kind)),
      onkeydown: (event) => {
        if (event.key !== "ArrowRight" && event.key !== "ArrowLeft") return;
        const other = list.children[list.children[0] === event.target ? 1 : 0];
        other.focus();
        other.click();
      },
    }, title, " ", h("span", { class: "total" }))));
  }
  [...list.children].forEach((tab, i) => {
    const isChosen = tab.dataset.kind === state.kind;
    tab.setAttribute("aria-selected", isChosen);
    tab.tabIndex = isChosen ? 0 : -1;
    if (counts) tab.querySelector(".total").replaceChildren(grouped(counts[i]));
  });
}

function showFilterError(error) {
  const element = $("filter-error");
  element.hidden = error === null;
  $("filter").setAttribute("aria-invalid", error !== null);
  if (error === null) {
    $("filter").removeAttribute("aria-describedby");
    element.replaceChildren();
    return;
  }
  $("filter").setAttribute("aria-describedby", "filter-error");
  const parts = [h("span", {}, error.message)];
  if (Number.isInteger(error.position)) {
    // The place counts bytes.
    const bytes = new TextEncoder().encode(state.where);
    const decode = (from, to) => new TextDecoder().decode(bytes.slice(from, to));
    const before = decode(0, error.position);
    const rest = decode(error.position);
    const word = rest.match(/^[\s\S]\S{0,30}/u)?.[0] ?? "";
    parts.push(h("code", { class: "place" }, before.slice(-60), h("mark", {}, word || "\u00a0"), rest.slice(word.length, word.length + 60)));
  }
  element.replaceChildren(...parts);
}

function showAway(error) {
  const line = $("away");
  line.hidden = error === null;
  line.textContent = error === null ? "" : `The store is out of reach; trying again. ${error.message}`;
}

let retry = 0;

function failed(error) {
  if (error.name === "AbortError") return;
  if (error instanceof Away) {
    showAway(error);
    clearTimeout(retry);
    retry = setTimeout(refresh, 2000);
  } else {
    $("rows").replaceChildren(h("p", { class: "empty", role: "alert" }, error.message));
  }
}

// The records.

function allColumns() {
  return [
    // Ids follow each other in the order in which records are made, and stores find the last of them at once.
    { key: "id", kind: "id", heading: "id" },
    { key: "id", kind: "created", heading: "created" },
    ...names.categories.map((name) => columnOf("category", name)),
    ...names.descriptions.map((name) => columnOf("description", name)),
  ];
}

function columnOf(kind, name) {
  const key = names.inList(kind, name);
  return { key, kind, name, heading: names.both.has(name) ? `${kind}: ${name}` : name };
}

const listKey = (column) => (column.kind === "created" ? "created" : column.key);

function shownColumns() {
  const all = allColumns();
  if (state.columns === "") return all.slice(0, 2 + usualColumns);
  const wanted = split(state.columns);
  const found = wanted.map((key) => all.find((column) => listKey(column) === key)).filter(Boolean);
  return found.length > 0 ? [all[0], ...found.filter((column) => column.kind !== "id")] : all.slice(0, 2);
}

const namedColumns = (columns) =>
  columns.filter((column) => column.kind === "category" || column.kind === "description").map((column) => column.key);

function sortOf(text) {
  return split(text).map((piece) => {
    const isDescending = piece.endsWith(":desc");
    return { key: isDescending ? piece.slice(0, -5) : piece.replace(/:asc$/, ""), isDescending };
  });
}

const sortText = (sort) => sort.map((one) => one.key + (one.isDescending ? ":desc" : "")).join(",");

function sortedBy(column, isMore) {
  const sort = sortOf(state.sort);
  const known = sort.find((one) => one.key === column.key);
  const next = { key: column.key, isDescending: known ? !known.isDescending : column.kind === "created" };
  if (!isMore) return sortText([next]);
  return sortText(known ? sort.map((one) => (one === known ? next : one)) : [...sort, next]);
}

function question() {
  const columns = shownColumns();
  const named = namedColumns(columns);
  return {
    kind: state.kind, where: state.where, sort: state.sort,
    columns: named.length > 0 ? named.join(",") : "id",
  };
}

function choose(ids, isChosen) {
  const chosen = chosenIds().filter((id) => !ids.includes(id));
  go({ rows: idList(isChosen ? [...chosen, ...ids] : chosen) }, true);
}

function showButtons() {
  const count = chosenIds().length;
  $("compare").disabled = count < 2 || count > mostCompared;
  $("compare").title = $("compare").disabled ? `choose two to ${mostCompared} records` : "";
  $("change").hidden = !about.write;
  $("change").disabled = count === 0;
  $("chosen").textContent = count === 0 ? "" : `${count} chosen`;
}

let lastList = null; // what the table was made of, to show another choice of rows without a question

function showTable(records, remarks) {
  lastList = { records, remarks };
  const columns = shownColumns();
  const focused = $("rows").contains(document.activeElement) ? document.activeElement : null;
  const focusKey = focused && [focused.tagName, focused.getAttribute("aria-label") ?? focused.title];
  if (records.length === 0) $("rows").replaceChildren(emptyState(remarks));
  else {
    $("rows").replaceChildren(recordTable(records, columns, sortOf(state.sort), chosenIds(), {
      sort: (column, isMore) => go({ sort: sortedBy(column, isMore), skip: "" }),
      choose: (id, isChosen) => choose([id], isChosen),
      chooseAll: choose,
      open: (id) => go({ open: id }),
      address: (id) => addressOf({ ...state, open: id }),
    }));
  }
  if (focusKey) {
    [...$("rows").querySelectorAll(focusKey[0])].find((one) =>
      (one.getAttribute("aria-label") ?? one.title) === focusKey[1])?.focus();
  }
}

function emptyState(remarks) {
  const title = kinds.find(([kind]) => kind === state.kind)[1].toLowerCase();
  if (state.where === "" && state.skip === "")
    return h("div", { class: "empty" }, h("p", {}, `There are no ${title} here yet.`),
      h("p", { class: "quiet" }, "Rows of a file become records with ",
        h("code", {}, `recordctl ${storeOption()}import ${state.kind === "scenario" ? "--kind scenario " : ""}FILE`)));
  return h("div", { class: "empty" }, h("p", {}, `No ${title} match.`),
    remarks.map((remark) => h("p", {}, remark)),
    h("p", {}, button("Clear the filter", () => go({ where: "", skip: "" }))));
}

function showRange(count) {
  const first = Number(state.skip || 0);
  $("range").replaceChildren(...rangeText(first, count, shownCount));
  $("previous").disabled = first === 0;
  $("next").disabled = first + count >= shownCount;
}

// The command that gives the same.

const shell = (text) => (/^[\w.,:=/@%+-]+$/.test(text) ? text : `'${text.replace(/'/g, "'\\''")}'`);
const storeOption = () => (about.store === "" ? "" : `--store ${shell(about.store)} `) +
  (about.user ? `--user ${shell(about.user)} ` : "");

function showCommand() {
  const { kind, where, sort, columns } = question();
  let line = `recordctl ${storeOption()}list`;
  if (kind === "scenario") line += " --kind scenario";
  if (where !== "") line += ` --where ${shell(where)}`;
  if (sort !== "") line += ` --sort ${shell(sort)}`;
  line += ` --columns ${shell(columns === "id" ? "id" : `id,${columns}`)} --limit ${pageSize}`;
  if (state.skip) line += ` --skip ${state.skip}`;
  const code = h("code", { tabindex: "0" }, line);
  $("command").replaceChildren(h("div", { class: "bar" }, h("h2", {}, "Command"), h("span", { class: "gap" }),
    button("Copy", (event) => {
      navigator.clipboard?.writeText(line).then(() => {
        event.target.textContent = "Copied";
        setTimeout(() => (event.target.textContent = "Copy"), 1500);
      }, () => getSelection().selectAllChildren(code));
    })), code);
}

// Dialogs.

function columnsDialog() {
  const shown = shownColumns();
  const boxes = allColumns().filter((column) => column.kind !== "id").map((column) => {
    const box = h("input", { type: "checkbox", checked: shown.some((one) => listKey(one) === listKey(column)) });
    return { column, box, element: h("label", { class: "value" }, box, h("span", { class: "text", dir: "auto" }, column.heading)) };
  });
  const find = h("input", {
    type: "search", "aria-label": "Find a column", placeholder: "find",
    oninput: () => boxes.forEach(({ column, element }) =>
      (element.hidden = !column.heading.toLowerCase().includes(find.value.toLowerCase()))),
  });
  const apply = () => {
    hideDialog();
    const wanted = boxes.filter(({ box }) => box.checked).map(({ column }) => listKey(column));
    go({ columns: wanted.length === 0 ? "id" : wanted.join(",") });
  };
  showDialog("Columns", h("form", { onsubmit: (event) => { event.preventDefault(); apply(); } },
    boxes.length > 12 ? find : null,
    h("div", { class: "choices" }, boxes.map(({ element }) => element)),
    h("div", { class: "bar" }, h("button", { type: "submit", class: "main" }, "Show these"),
      button("Usual columns", () => { hideDialog(); go({ columns: "" }); }))));
}

function exportDialog() {
  const { kind, where, sort, columns } = question();
  const link = (title, text, format, chosen) => h("li", {},
    h("a", { href: `/api/export?${queryOf({ kind, where, sort, format, columns: chosen })}`, download: "" }, title),
    h("span", { class: "quiet" }, ` ${text}`));
  const chosen = columns === "id" ? "id" : `id,${columns}`;
  showDialog("Export", h("div", {},
    h("p", {}, grouped(shownCount), ` ${shownCount === 1 ? "record" : "records"}, as filtered and sorted here`),
    h("ul", { class: "plain" },
      link("CSV", "the columns that are shown", "csv", chosen),
      link("JSON Lines", "the columns that are shown, an object a line", "jsonl", chosen),
      link("CSV of all columns", "an import with the key id takes it back", "csv"),
      link("Complete records", "with files, sources and user blocks; an import takes them back", "records"))));
}

$("columns").addEventListener("click", columnsDialog);
$("export").addEventListener("click", exportDialog);
$("compare").addEventListener("click", () => go({ compare: "1" }));
$("change").addEventListener("click", () => changeDialog(about, state.kind, names, chosenIds(), () => refresh(true)));
$("previous").addEventListener("click", () => go({ skip: String(Math.max(0, Number(state.skip) - pageSize) || "") }));
$("next").addEventListener("click", () => go({ skip: String(Number(state.skip || 0) + pageSize) }));

let typing = 0;
$("filter").addEventListener("input", () => {
  clearTimeout(typing);
  typing = setTimeout(() => go({ where: $("filter").value.trim(), skip: "" }), 300);
});
$("filter").addEventListener("keydown", (event) => {
  if (event.key !== "Enter") return;
  clearTimeout(typing);
  go({ where: $("filter").value.trim(), skip: "" });
});

// Everything at once.

let dialogShown = "";

function showDialogs(signal) {
  const wanted = state.open !== "" ? `open ${state.open}` : state.compare !== "" ? `compare ${state.rows}` : "";
  if (wanted === dialogShown) return;
  const before = dialogShown;
  dialogShown = wanted;
  if (wanted === "") {
    if (before !== "") hideDialog();
    return;
  }
  const close = (patch) => () => {
    dialogShown = "";
    go(patch);
  };
  const shown = state.open !== ""
    ? showRecord(state.kind, state.open, signal, close({ open: "" }), about.write
      ? (id) => changeDialog(about, state.kind, names, [id], () => refresh(true)) : null)
    : showComparison(state.kind, chosenIds(), signal, close({ compare: "" }));
  shown.catch((error) => {
    if (error.name === "AbortError") dialogShown = "";
    else if (error instanceof Away) {
      dialogShown = "";
      failed(error);
    } else showDialog(state.open !== "" ? `Record ${state.open}` : "Comparison", h("p", { role: "alert" }, error.message),
      close(state.open !== "" ? { open: "" } : { compare: "" }));
  });
}

let shownFor = ""; // the question of the records that are shown

async function refresh(isForced = false) {
  clearTimeout(retry);
  asking.abort();
  asking = new AbortController();
  const { signal } = asking;
  const { kind, where } = state;
  if ($("filter") !== document.activeElement || $("filter").value.trim() !== where) $("filter").value = where;
  showKinds(null);
  showButtons();
  const busy = setTimeout(() => document.body.classList.add("busy"), patience);
  try {
    if (namesOfKind !== kind || isForced) {
      if (namesOfKind !== kind) {
        facets.forget();
        lastList = null;
        $("rows").replaceChildren(skeleton());
      }
      const answer = await ask("names", null, { kind }, signal);
      names = new Names(answer.results);
      namesOfKind = kind;
    }
    showDialogs(signal);
    const key = JSON.stringify([kind, where, state.sort, state.columns, state.skip]);
    const isSame = !isForced && key === shownFor && lastList !== null && $("away").hidden;
    if (isSame) {
      showTable(lastList.records, lastList.remarks);
      await showBelow(signal);
      return;
    }
    const counts = Promise.all(kinds.map(([one]) => ask("count", null, { kind: one }, signal)))
      .then((answers) => showKinds(answers.map((one) => one.results[0].count)));
    counts.catch(() => {});
    const list = ask("list", null, { ...question(), limit: pageSize, skip: state.skip }, signal);
    list.catch(() => {});
    const taken = await ask("conditions", null, { where }, signal);
    conditions = taken.results;
    showFilterError(null);
    const matching = ask("count", null, { kind, where }, signal);
    matching.catch(() => {});
    const [answer, count] = await Promise.all([list, matching]);
    shownCount = count.results[0].count;
    showTable(answer.results, [...(answer.remarks ?? [])]);
    showRange(answer.results.length);
    clearTimeout(busy);
    document.body.classList.remove("busy");
    $("matches").replaceChildren(grouped(shownCount), ` ${shownCount === 1 ? "match" : "matches"}`);
    showCommand();
    showAway(null);
    shownFor = key;
    await Promise.all([counts, facets.show(kind, names, conditions, signal), showBelow(signal)]);
  } catch (error) {
    if (error instanceof Refusal && error.position !== null && error.position !== undefined) {
      showFilterError(error);
      shownFor = "";
      // What was found last stays; where nothing was, as with an address that somebody mistyped, that is said.
      if (lastList === null) $("rows").replaceChildren(h("p", { class: "empty" }, "The filter cannot be read."));
    } else failed(error);
  } finally {
    clearTimeout(busy);
    if (!signal.aborted) document.body.classList.remove("busy");
  }
}

function showBelow(signal) {
  const context = { kind: state.kind, where: state.where, names, state, go, signal, count: shownCount };
  return Promise.all([showPlot($("plot"), context), showStatistics($("statistics"), context)]);
}

async function begin() {
  for (;;) {
    try {
      about = (await ask("about", null, {})).results[0];
      break;
    } catch (error) {
      showAway(error);
      await new Promise((resolve) => setTimeout(resolve, 2000));
    }
  }
  const name = about.store.replace(/^file:/, "").replace(/\?.*$/, "").split("/").pop();
  $("store").textContent = name || "Records";
  $("store").title = about.store;
  document.title = name || "Records";
  refresh();
}

begin();
