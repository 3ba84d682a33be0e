// SPDX-License-Identifier: MIT
// What may stand at the cursor of a description: the keys and values that its JSON Schema knows there.

// Where an offset is: the steps that lead to it (keys, and null for elements), whether a key is expected, the keys
// that the innermost object has, and the beginning of the word that is being typed.
export function contextAt(text, offset) {
  const stack = [];
  let start = null;  // of the string or word that reaches the offset
  const token = /"(?:\\[^]|[^"\\\n])*"?|[-+.\w]+|[{}[\]:,]/g;
  for (let match = token.exec(text); match && match.index < offset; match = token.exec(text)) {
    const top = stack.at(-1);
    const [word] = match;
    const ends = match.index + word.length;
    if (ends >= offset && !/^[{}[\]:,]$/.test(word) && !(ends === offset && /^".*"$/.test(word))) {
      start = match.index;
      break;
    }
    if (word === '{') stack.push({keys: [], key: null, expectsKey: true});
    else if (word === '[') stack.push({element: true});
    else if (word === '}' || word === ']') stack.pop();
    else if (word === ',' && top?.keys) Object.assign(top, {key: null, expectsKey: true});
    else if (word === ':' && top?.keys) top.expectsKey = false;
    else if (word[0] === '"' && top?.expectsKey) top.keys.push(top.key = word.slice(1, -1));
  }
  const top = stack.at(-1);
  return {
    steps: stack.slice(0, top?.expectsKey ? -1 : undefined).map((level) => (level.element ? null : level.key)),
    expectsKey: top?.expectsKey ?? false,
    keys: top?.keys ?? [],
    from: start ?? offset,
    typed: start === null ? '' : text.slice(start, offset).replace(/^"/, ''),
  };
}

// All that a schema may be, references and choices followed.
function* alternatives(schema, root, depth = 0) {
  if (!schema || depth > 8) return;
  const target = schema.$ref ? schema.$ref.split('/').slice(1).reduce((part, step) => part?.[step], root) : null;
  // A description beside a reference is about this use of it.
  if (target) yield* alternatives({...target, description: schema.description ?? target.description}, root, depth + 1);
  else if (schema.anyOf) for (const choice of schema.anyOf) yield* alternatives(choice, root, depth + 1);
  else yield schema;
}

function schemasAt(root, steps) {
  let schemas = [...alternatives(root, root)];
  for (const step of steps) {
    schemas = schemas.flatMap((schema) =>
      [...alternatives(step === null ? schema.items : schema.properties?.[step], root)]);
  }
  return schemas;
}

const matches = (name, typed) => name.toLowerCase().startsWith(typed.toLowerCase());

function keyCandidates(schemas, context, root) {
  const found = new Map();
  for (const schema of schemas) {
    for (const [name, property] of Object.entries(schema.properties ?? {})) {
      const [value] = alternatives(property, root);
      const isObject = value?.type === 'object';
      found.set(name, {
        text: `"${name}": ${isObject ? '{}' : ''}`,
        back: isObject ? 1 : 0,
        label: name,
        note: property.description ?? value?.description ?? value?.type ?? '',
      });
    }
  }
  const taken = context.keys.filter((key) => key !== context.typed);
  return [...found.values()].filter(({label}) => !label.startsWith('$') && !taken.includes(label));
}

function valueCandidates(schemas, context, suggestions) {
  const values = schemas.flatMap((schema) => [
    ...(schema.enum ?? []),
    ...(schema.type === 'boolean' ? [true, false] : []),
    ...(suggestions[context.steps.at(-1)] ?? []),
    ...(schema.default === undefined ? [] : [schema.default]),
  ]);
  const texts = [...new Set(values.map((value) => JSON.stringify(value)))];
  if (schemas.some((schema) => schema.type === 'object')) texts.push('{}');
  return texts.map((text) => ({text, back: text === '{}' ? 1 : 0, label: text, note: ''}));
}

// The candidates at an offset: {from, list}, each with `text` to be put there, how many characters `back` the cursor
// goes then, a `label` and a `note`. `suggestions` has further values for keys.
export function completionsAt(text, offset, root, suggestions = {}) {
  const context = contextAt(text, offset);
  const schemas = schemasAt(root, context.steps);
  const list = context.expectsKey ? keyCandidates(schemas, context, root)
    : valueCandidates(schemas, context, suggestions);
  return {from: context.from, list: list.filter(({label}) => matches(label.replace(/^"/, ''), context.typed))};
}
