// SPDX-License-Identifier: Apache-2.0

// The filter is a text, and the text alone says what is shown. The server takes it apart (/api/conditions); here
// conditions are looked for that ticks and handles stand for, and put back with another value. Whatever else somebody
// typed stays as it is.

const reserved = new Set(["and", "or", "not", "has", "in", "true", "false", "now", "created", "id", "category",
  "description", "nan", "inf", "infinity", "AND", "OR", "NOT"]);

export function quoted(text) {
  if (/^[A-Za-z_][A-Za-z0-9_$]*$/.test(text) && !reserved.has(text.toLowerCase())) return text;
  return `"${text.replace(/[\\"]/g, "\\$&")}"`;
}

/** Finds and writes names; those that are a category and a description alike get a prefix. */
export class Names {
  constructor(listed) {
    this.categories = [...new Set(listed.filter((one) => one.kind === "category").map((one) => one.name))];
    this.types = new Map();
    const counts = new Map();
    for (const { name, kind, type, count } of listed) {
      if (kind === "description" && !(counts.get(name) > count)) {
        this.types.set(name, type);
        counts.set(name, count);
      }
    }
    this.descriptions = [...this.types.keys()];
    this.both = new Set(this.categories.filter((name) => this.types.has(name)));
  }

  isNumeric(name) {
    return ["int", "long", "double"].includes(this.types.get(name));
  }

  isTime(name) {
    return this.types.get(name) === "time";
  }

  /** In a filter. */
  inFilter(kind, name) {
    return (this.both.has(name) ? `${kind}:` : "") + quoted(name);
  }

  /** In a list of names, as of columns. */
  inList(kind, name) {
    const plain = this.both.has(name) || name === "id" || name === "created" ? `${kind}:` : "";
    return plain + escaped(name);
  }
}

export const escaped = (name) => name.replace(/[\\,:]/g, "\\$&");

/** Splits at commas without a backslash before them. */
export function split(list) {
  return list === "" ? [] : list.match(/(?:\\.|[^,\\])+/gs) ?? [];
}

const joined = (conditions) => conditions.map((one) => one.text).join(" and ");

const isOn = (condition, kind, name) =>
  condition.name === name && (condition.field === "any" || condition.field === kind);
const isChoice = (condition) => condition.operator === "=" || condition.operator === "in";
const isBound = (condition) => [">", ">=", "<", "<="].includes(condition.operator);

/** The values that are ticked of a category. */
export function chosenValues(conditions, category) {
  const found = conditions.find((one) => isOn(one, "category", category) && isChoice(one));
  return found ? found.values : [];
}

/** The bounds of a description, as texts. */
export function chosenRange(conditions, description) {
  const range = {};
  for (const one of conditions) {
    if (!isOn(one, "description", description) || !isBound(one)) continue;
    range[one.operator[0] === ">" ? "from" : "to"] = one.values[0];
  }
  return range;
}

/** The filter without what the facet itself asks for: what its other values are counted under. */
export function without(conditions, kind, name) {
  const test = kind === "category" ? isChoice : isBound;
  return joined(conditions.filter((one) => !(isOn(one, kind, name) && test(one))));
}

function replaced(conditions, isReplaced, texts) {
  const place = conditions.findIndex(isReplaced);
  const result = conditions.filter((one) => !isReplaced(one));
  result.splice(place < 0 ? result.length : place, 0, ...texts.map((text) => ({ text })));
  return joined(result);
}

export function withValues(conditions, names, category, values) {
  const name = names.inFilter("category", category);
  const list = values.map((value) => quoted(value));
  const texts = list.length === 0 ? [] : [list.length === 1 ? `${name}=${list[0]}` : `${name} in (${list.join(", ")})`];
  return replaced(conditions, (one) => isOn(one, "category", category) && isChoice(one), texts);
}

export function withRange(conditions, names, description, from, to) {
  const name = names.inFilter("description", description);
  const texts = [];
  if (from !== null) texts.push(`${name}>=${from}`);
  if (to !== null) texts.push(`${name}<=${to}`);
  return replaced(conditions, (one) => isOn(one, "description", description) && isBound(one), texts);
}

/** A filter that holds only where another one does, too. */
export function both(where, condition) {
  return where === "" ? condition : `(${where}) and ${condition}`;
}
