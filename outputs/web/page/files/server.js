// What the server says, now and as it changes.
import { note_clock } from './text.js';

export class Refused extends Error {
  constructor(status, detail) {
    super(detail);
    this.status = status;
  }
}

const patience = 20000;

// The answer of an address as JSON. The browser keeps the last one and asks whether it is still the same, so this
// costs little when nothing changed: then the same object comes again.
const kept = new Map();
export async function get(address) {
  const response = await fetch(address, {
    headers: { Accept: 'application/json' }, cache: 'no-cache', signal: AbortSignal.timeout(patience),
  });
  note_clock(response.headers.get('Date'));
  if (!response.ok) throw await refusal(response);
  const tag = response.headers.get('ETag');
  const before = kept.get(address);
  if (tag && before?.tag === tag) {
    response.body?.cancel();
    return before.answer;
  }
  const answer = await response.json();
  if (kept.size > 50) kept.delete(kept.keys().next().value);
  kept.set(address, { tag, answer });
  return answer;
}

async function refusal(response) {
  let detail = '';
  try {
    detail = (await response.json()).detail;
  } catch {
    // Not every refusal has words of its own, as when something between answers.
  }
  return new Refused(response.status, detail || `The server answered with status ${response.status}.`);
}

// Who looks, and what he may do.
export let me = { name: '', role: 'viewer' };
export async function learn_who() {
  try {
    me = await get('/api/v1/me');
  } catch {
    me = { name: '', role: 'viewer' };
  }
  return me;
}
export const may_act = () => me.role === 'operator';

export async function act(action) {
  const response = await fetch('/api/v1/actions', {
    method: 'POST',
    headers: { 'Content-Type': 'application/json', ...(me.csrf ? { 'X-CSRF-Token': me.csrf } : {}) },
    body: JSON.stringify(action),
    signal: AbortSignal.timeout(patience),
  });
  if (!response.ok) throw await refusal(response);
  return response.json();
}

export function log_out() {
  return fetch('/logout', { method: 'POST', headers: { 'X-CSRF-Token': me.csrf, Accept: 'application/json' } });
}

// Rows with a value for each column, as objects.
export function objects_of({ columns, rows }) {
  return rows.map((row) => {
    const object = {};
    for (let i = 0; i < columns.length; ++i) object[columns[i]] = row[i];
    return object;
  });
}

// Follows the changes. `call` has alive(), broken(), changed() and engine(is_running). A broken stream begins again by
// itself, and one that the server refuses is tried again.
export function follow(call) {
  let source;
  let wait = 500;
  const begin = () => {
    source = new EventSource('/api/v1/changes');
    source.onopen = () => {
      wait = 500;
      call.alive();
    };
    source.addEventListener('view', () => call.changed());
    source.addEventListener('gap', () => call.changed());
    source.addEventListener('engine', (event) => call.engine(JSON.parse(event.data).is_running));
    source.onerror = () => {
      call.broken();
      // A browser waits for seconds before it asks again; the reader is to wait less.
      source.close();
      setTimeout(begin, wait);
      wait = Math.min(wait * 1.5, 5000);
    };
  };
  begin();
  addEventListener('pagehide', () => source.close());
  addEventListener('pageshow', (event) => event.persisted && begin());
}
