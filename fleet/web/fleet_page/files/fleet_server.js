// What the server answers to the page's scripts.
const patience = 15000;

export class Refused extends Error {}

async function detail_of(response) {
  let detail = '';
  try {
    detail = (await response.json()).detail;
  } catch {
    // Not every refusal has words of its own, as when something between answers.
  }
  return detail || `The server answered with status ${response.status}.`;
}

// The same object comes again when nothing has changed.
const kept = new Map();
export async function get(address) {
  const response = await fetch(address, { headers: { Accept: 'application/json' }, cache: 'no-cache', signal: AbortSignal.timeout(patience) });
  if (!response.ok) throw new Refused(await detail_of(response));
  const tag = response.headers.get('ETag');
  if (tag && kept.get(address)?.tag === tag) {
    response.body?.cancel();
    return kept.get(address).answer;
  }
  const answer = await response.json();
  kept.set(address, { tag, answer });
  return answer;
}

export let me = { name: '', role: 'viewer' };
export async function learn_who() {
  try {
    me = await get('/api/v1/me');
  } catch {
    me = { name: '', role: 'viewer' };
  }
}
export const may_act = () => me.role === 'operator' && me.name !== '';

export async function act(action) {
  const response = await fetch('/api/v1/actions', {
    method: 'POST',
    headers: { 'Content-Type': 'application/json', ...(me.csrf ? { 'X-CSRF-Token': me.csrf } : {}) },
    body: JSON.stringify(action),
    signal: AbortSignal.timeout(patience),
  });
  if (!response.ok) throw new Refused(await detail_of(response));
  return response.json();
}

export function log_out() {
  return fetch('/logout', { method: 'POST', headers: { 'X-CSRF-Token': me.csrf, Accept: 'application/json' } });
}
