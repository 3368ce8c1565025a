// SPDX-License-Identifier: Apache-2.0

// All that is shown follows from the address, so that it can be copied, and back and forward work. An address that would
// be too long for the server stands behind "#", which is never sent.

export const pageSize = 100;
const longest = 6000;

const usual = {
  kind: "experiment", where: "", sort: "id:desc", columns: "", skip: "", open: "", rows: "", compare: "",
  plot: "points", x: "", y: "", colour: "", by: "", median: "",
};

export function read() {
  const given = new URLSearchParams(location.hash.length > 1 && location.search === "" ? location.hash.slice(1) : location.search);
  const state = { ...usual };
  for (const name of Object.keys(usual)) if (given.has(name)) state[name] = given.get(name);
  if (state.kind !== "scenario") state.kind = "experiment";
  if (!/^\d+$/.test(state.skip)) state.skip = "";
  return state;
}

export function addressOf(state) {
  const query = new URLSearchParams();
  for (const [name, value] of Object.entries(state)) if (value !== usual[name]) query.set(name, value);
  const text = query.toString();
  if (text === "") return location.pathname;
  return location.pathname + (text.length < longest ? "?" : "#") + text;
}

export const initial = (kind) => ({ ...usual, kind });
