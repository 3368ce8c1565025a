// SPDX-License-Identifier: Apache-2.0

// Questions to the server. A question that nobody waits for any more is aborted, and the server gives it up.

const longest = 6000; // of an address; beyond, the question goes in a body

export class Refusal extends Error {
  constructor(message, position) {
    super(message);
    this.position = position;
  }
}

/** The server, or the store behind it, cannot be reached. */
export class Away extends Error {}

export function queryOf(parameters) {
  const query = new URLSearchParams();
  for (const [name, value] of Object.entries(parameters)) {
    for (const one of Array.isArray(value) ? value : [value]) {
      if (one !== undefined && one !== null && one !== "" && one !== false) query.append(name, one);
    }
  }
  return query.toString();
}

// An integer beyond what a number of this language holds stays as it was written.
const exact = (_key, value, context) =>
  typeof value === "number" && Number.isInteger(value) && !Number.isSafeInteger(value) && context?.source &&
  /^-?\d+$/.test(context.source) ? { $numberLong: context.source } : value;

async function answerOf(path, options) {
  let response;
  try {
    response = await fetch(path, { cache: "no-store", credentials: "same-origin", ...options });
  } catch (error) {
    if (error.name === "AbortError") throw error;
    throw new Away("recordctl serve does not answer");
  }
  const text = await response.text().catch((error) => {
    if (error.name === "AbortError") throw error;
    throw new Away("the answer broke off");
  });
  let answer;
  try {
    answer = JSON.parse(text, exact);
  } catch {
    throw new Refusal(`the answer cannot be read (${response.status})`, null);
  }
  if (response.ok) return answer;
  if (response.status === 503) throw new Away(answer.error);
  throw new Refusal(answer.error, answer.position);
}

/** Asks ("facets", "site") or ("count", null); gives {results, remarks?}. */
export function ask(question, name, parameters, signal) {
  const query = queryOf(parameters);
  const path = `/api/${question}${name === null ? "" : `/${encodeURIComponent(name)}`}`;
  if (path.length + query.length < longest) return answerOf(`${path}?${query}`, { signal });
  const body = (name === null ? "" : `${queryOf({ name })}&`) + query;
  return answerOf(`/api/${question}`, { method: "POST", headers: { "Content-Type": "text/plain" }, body, signal });
}

export function change(parameters, token) {
  return answerOf("/api/set", {
    method: "POST",
    headers: { "Content-Type": "text/plain", "X-Recordctl-Token": token },
    body: queryOf(parameters),
  });
}
