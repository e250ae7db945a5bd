// Brings the page to life: what is active now, the views, the keys and the change stream.
import * as address from './address.js';
import * as alarm from './alarm.js';
import { is_new, prepare } from './choice.js';
import { mark, severities } from './marks.js';
import { act_on, show_help } from './acts.js';
import { clear, has_selection, selected_rows, toggle } from './selection.js';
import * as server from './server.js';
import { age, clock, h, number, now, plural, shown, tick, zone } from './text.js';
import alarms from './alarms.js';
import catalog from './catalog.js';
import health from './health.js';
import { history_view, maintenance, missed } from './lists.js';
import objects from './objects.js';
import statistics from './statistics.js';
import timeline from './timeline.js';

const views = { alarms, objects, timeline, missed, statistics, catalog, health, history: history_view, maintenance };
const at = (id) => document.getElementById(id);

// What all views draw from.
export const state = { ledger_id: '', change: 0, counts: {}, rows: [], missed: 0, maintenance: 0, is_readable: true, is_known: false };
const live = { is_live: false, since: null, engine_runs: true, received: 0 };

let current = null;  // the view that is shown
let beside = null;   // where it is drawn

// Tells a screen reader; with `is_seen` everybody, for a few seconds.
let unseen = 0;
export function say(text, is_seen = false) {
  const said = at('said');
  said.textContent = '';
  clearTimeout(unseen);
  said.classList.toggle('vh', !is_seen);
  setTimeout(() => { said.textContent = shown(text); }, 50);
  if (is_seen) unseen = setTimeout(() => said.classList.add('vh'), 6000);
}

// ---- What is active

let asking = false;
let ask_again = false;

export async function refresh() {
  if (asking) {
    ask_again = true;
    return;
  }
  asking = true;
  const begun = performance.now();
  try {
    const answer = await server.get('/page/active');
    if (answer !== state.answer) take(answer);
    live.received = now();
    recovered();
    if (current) {
      current.update?.(state);
      alarm.update(state);
      draw_header();
    } else {
      draw_view();
    }
  } catch (error) {
    broken(error);
  }
  // Many alarms take longer: then it is asked less often.
  setTimeout(() => {
    asking = false;
    if (ask_again) {
      ask_again = false;
      refresh();
    }
  }, Math.min(5000, Math.max(40, 3 * (performance.now() - begun))));
}

let known = {};
function take(answer) {
  // Another ledger has other alarms under the same numbers.
  if (state.is_known && state.ledger_id !== answer.ledger_id) {
    clear();
    known = {};
    if (address.open_alarm()) {
      address.replace(address.address_with({ open: '' }));
      alarm.open(0, at('split'), state);
    }
    say('Another ledger took the place of the one that was shown. All is shown anew.', true);
  }
  Object.assign(state, answer, { answer, rows: server.objects_of(answer).map(prepare), is_known: true });
  draw_banner();
  const numbers = new Set(state.rows.map((row) => row.number));
  if (known.ready) {
    const fresh = state.rows.filter((row) => !known.numbers.has(row.number) && is_new(row));
    if (fresh.length === 1) say(`New alarm: ${fresh[0].severity}, ${fresh[0].descr}`);
    else if (fresh.length > 1) say(`${plural(fresh.length, 'new alarm')}, the worst is ${severities[Math.max(...fresh.map((row) => row.rank))]}`);
  }
  known = { ready: true, numbers };
}

// ---- Header

function draw_header() {
  const counts = at('counts');
  const list = ['critical', 'major', 'minor', 'warning', 'indeterminate']
    .filter((severity) => severity !== 'indeterminate' || state.counts[severity] > 0)
    .map((severity) => ({ key: severity, count: state.counts[severity], href: `/?severity=${severity}`, severity }));
  list.push({ key: 'new', count: state.rows.filter(is_new).length, href: '/?state=new', class: 'more' });
  list.push({ key: 'shelved', count: state.rows.filter((row) => row.operator_state === 'shelved').length, href: '/?state=shelved' });
  if (state.maintenance > 0) list.push({ key: 'out of service', count: state.maintenance, href: '/maintenance' });
  const drawn = list.map((one) => one.key).join();
  if (counts.dataset.drawn !== drawn) {
    counts.dataset.drawn = drawn;
    counts.replaceChildren(...list.map((one) => h('li', { class: one.class },
      h('a', { href: one.href, class: 'count', 'data-key': one.key }, one.severity && mark(one.severity), h('b'), ` ${one.key}`))));
  }
  for (const one of list) {
    const link = counts.querySelector(`[data-key="${one.key}"]`);
    link.querySelector('b').textContent = number(one.count);
    link.className = `count${one.severity ? ` s-${one.severity}` : ''}${one.severity && one.count === 0 ? ' none' : ''}`;
  }
  const tab = document.querySelector('#tabs a[href="/missed"]');
  tab?.replaceChildren('Missed', ...(state.missed > 0 ? [' ', h('b', {}, number(state.missed))] : []));
  const worst = ['critical', 'major', 'minor', 'warning'].find((severity) => state.counts[severity] > 0);
  document.title = `${worst ? `${number(state.counts[worst])} ${worst} \u00b7 ` : ''}${current?.title ?? 'Alarms'} \u00b7 polaiga`;
  draw_live();
}

function draw_live() {
  const place = at('live');
  if (!place) return;
  const is_live = live.is_live && state.is_readable;
  place.classList.toggle('on', is_live);
  place.replaceChildren(h('span', { class: 'dot' }), h('b', {}, is_live ? 'live' : 'not live'), ' \u00b7 change ',
    h('span', { id: 'change' }, number(state.change)), live.received > 0 && ` \u00b7 ${age(now() - live.received)} ago`);
}

// Asked again after each break: meanwhile somebody else may have logged in, or may do more or less than before.
async function learn_who() {
  await server.learn_who();
  draw_who();
  if (!state.is_known) return;
  current?.update?.(state);
  alarm.update(state, true);
}

function draw_who() {
  at('me')?.replaceChildren(h('span', {}, server.me.name),
    server.may_act() ? h('span', { class: 'vh' }, ', operator') : server.me.name ? ' (viewer)' : '',
    ...(server.me.csrf ? [h('button', { type: 'button', onclick: () => server.log_out().then(() => location.reload()) }, 'Log out')] : []));
}

// ---- Live, or not

function recovered() {
  if (live.is_live || !live.has_stream) return;
  live.is_live = true;
  live.since = null;
  draw_banner();
  draw_live();
}

function broken(error) {
  if (error instanceof server.Refused && error.status === 401) return location.reload();
  if (live.is_live || live.since === null) {
    live.since ??= live.received || now();
    live.is_live = false;
    draw_banner();
    draw_live();
  }
}

function draw_banner() {
  const banner = at('banner');
  const stale = live.since !== null;
  document.body.classList.toggle('stale', stale || !state.is_readable);
  const text = stale ? `Not live since ${clock(live.since)}: what you see is of that time. The page is trying to connect again.`
    : !state.is_readable ? 'The server cannot read the ledger: what you see is what it read last. Its log says why.'
    : live.engine_runs ? '' : 'The engine is not running: no event is taken, and what you see is of its last moment.';
  banner.hidden = text === '';
  if (banner.textContent !== text) banner.textContent = text;
}

// ---- Views

function draw_view() {
  const name = address.view();
  const next = Object.hasOwn(views, name) && views[name];
  if (!next) return location.reload();
  const main = at('main');
  if (next !== current) {
    current?.leave?.();
    current = next;
    beside = h('div', { class: 'beside' });
    const heading = next === alarms ? h('h1', { class: 'vh' }, 'Active alarms') : h('h1', {}, next.title);
    beside.append(heading);
    main.replaceChildren(h('div', { class: 'split', id: 'split' }, beside));
    for (const link of document.querySelectorAll('#tabs a')) {
      const is_here = link.getAttribute('href') === `/${name === 'alarms' ? '' : name}`;
      if (is_here) {
        link.setAttribute('aria-current', 'page');
        // On a narrow screen the tabs do not fit; the one that is shown is to be seen.
        const tabs = link.closest('ul');
        tabs.scrollLeft = link.offsetLeft - tabs.offsetLeft - (tabs.clientWidth - link.offsetWidth) / 2;
      } else link.removeAttribute('aria-current');
    }
    next.show(beside, state);
  } else {
    current.moved?.(state);
  }
  alarm.open(address.open_alarm(), at('split'), state);
  draw_header();
}

// What a view could not fetch, in words, in its place.
export function failed(place, error) {
  place.replaceChildren(h('p', { class: 'quiet' }, error instanceof server.Refused ? error.message : 'The server does not answer.'));
}

// ---- Keys

function rows_shown() {
  return [...document.querySelectorAll('#main a.row')].filter((row) => row.offsetParent);
}

function move(step) {
  const rows = rows_shown();
  if (rows.length === 0) return;
  const here = rows.indexOf(document.activeElement?.closest?.('li')?.querySelector('a.row'));
  const next = here < 0 ? rows.findIndex((row) => row.classList.contains('chosen')) : here;
  rows[Math.min(rows.length - 1, Math.max(0, next < 0 ? 0 : next + step))].focus();
}

async function find() {
  if (!document.querySelector('#main input[type="search"]')) address.go('/');
  const field = document.querySelector('#main input[type="search"]');
  field?.focus();
  field?.select();
}

function focused_row() {
  const row = document.activeElement?.closest?.('#main li')?.querySelector('[data-number]');
  const number_of_row = Number(row?.dataset.number) || address.open_alarm();
  return state.rows.find((row) => row.number === number_of_row);
}

// What a key acts on: the alarms that are selected, or else the one that has the focus or is open.
const meant = () => (has_selection() ? selected_rows() : [focused_row()].filter(Boolean));

function select_focused(is_range) {
  const row = focused_row();
  if (!server.may_act() || !row || views[address.view()] !== alarms) return;
  toggle(row, is_range);
  const count = selected_rows().length;
  say(count === 0 ? 'None is selected.' : `${plural(count, 'alarm')} selected.`);
}

const keys = {
  '/': find,
  j: () => move(1),
  k: () => move(-1),
  x: () => select_focused(false),
  X: () => select_focused(true),
  a: () => act_on(meant(), 'acknowledge'),
  s: () => act_on(meant(), 'shelve'),
  c: () => act_on(meant(), 'comment'),
  '?': show_help,
};

addEventListener('keydown', (event) => {
  if (event.ctrlKey || event.metaKey || event.altKey) return;
  const is_typing = event.target.closest?.('input:not([type="checkbox"]), select, textarea, dialog');
  if (event.key === 'Escape' && event.target.matches?.('input[type="search"]')) return event.target.blur();
  if (is_typing) return;
  if (event.key === 'Escape' && address.open_alarm()) return alarm.close();
  if (event.key === 'Escape' && has_selection()) return clear();
  const call = keys[event.key];
  if (!call) return;
  event.preventDefault();
  call();
});

// ---- Begin

// A page that tells of a problem has nothing to bring to life. It is asked for again, until it is what it should be.
function wait_for_better(wait) {
  setTimeout(async () => {
    const response = await fetch(location.href, { method: 'HEAD' }).catch(() => null);
    if (response?.ok) location.reload();
    else wait_for_better(Math.min(60000, 1.5 * wait));
  }, wait);
}

document.documentElement.classList.add('scripted');
at('zone').textContent = `Times are in ${zone()}.`;
address.on_change(() => {
  if (!at('counts')) location.reload();
  else if (state.is_known) draw_view();
});

function begin() {
  learn_who();
  refresh();
  server.follow({
    alive() {
      if (live.has_stream === false) learn_who();
      live.has_stream = true;
      refresh();
    },
    broken() {
      live.has_stream = false;
      broken();
    },
    changed: refresh,
    engine(is_running) {
      live.engine_runs = is_running;
      draw_banner();
    },
  });
  setInterval(() => {
    tick();
    draw_live();
  }, 5000);
  // A connection can die without a word: whoever sees nothing change asks now and then.
  setInterval(refresh, 20000);
}

if (at('counts')) begin();
else wait_for_better(2000);
