// One alarm, opened beside the view: its whole way, why it is there, what would end it and who did what.
import { address_with, address, go, view } from './address.js';
import { action_words, acts_of } from './acts.js';
import { rank, severity_mark, tone } from './marks.js';
import { Refused, get, may_act } from './server.js';
import { ago_words, clock_of, code_text, events_words, exact, h, now, number_of, plural, seconds_of, short, words_of } from './text.js';

let shown = 0;        // its number; 0: none is open
let panel = null;
let drawn_of = [];    // what is drawn, to see whether anything changed
let last_why = null;  // what was told of why it is there; it is shown until it is told anew
let acts = { print: '', elements: [] };  // the buttons, which stay the same ones under the pointer
let is_asking = false;

export function open(number, split, state) {
  if (number === shown && panel?.isConnected) return;
  panel?.remove();
  shown = number;
  drawn_of = [];
  last_why = null;
  acts = { print: '', elements: [] };
  split.classList.toggle('open', number !== 0);
  if (number === 0) return;
  panel = h('aside', { class: 'alarm', id: 'alarm', 'aria-label': 'Opened alarm', tabindex: -1 });
  const row = state.rows.find((one) => one.number === number);
  draw(row, null, null);
  split.append(panel);
  if (innerWidth <= 960) panel.scrollIntoView({ block: 'start' });
  update(state, true);
}

export function close() {
  const number = shown;
  go(view() === 'alarms' && location.pathname !== '/' ? address('') : address_with({ open: '' }));
  document.querySelector(`#main [data-number="${number}"]`)?.focus();
}

// Asks for what is told of the alarm; explaining it costs a program's start, so that is asked when it changed.
export async function update(state, again = false) {
  // While the ledger cannot be read, what was told before stays.
  if (shown === 0 || is_asking || (!state.is_readable && drawn_of[0])) return;
  const number = shown;
  is_asking = true;
  try {
    const row = state.rows.find((one) => one.number === number);
    const alarm = await get(`/api/v1/alarms/${number}`);
    if (number !== shown || (!again && drawn_of[0] === alarm && drawn_of[1] === row?.operator_state)) return;
    drawn_of = [alarm, row?.operator_state];
    draw(row, alarm, last_why);
    const dn = row?.fault_dn ?? alarm.steps.at(-1)?.fault_dn;
    let why = null;
    try {
      if (dn) why = await get(`/api/v1/explain?fault_dn=${encodeURIComponent(dn)}`);
    } catch (error) {
      why = { problem: error instanceof Refused ? error.message : 'The server does not answer.' };
    }
    if (number !== shown) return;
    last_why = why;
    draw(row, alarm, why);
  } catch (error) {
    if (number === shown && panel) {
      const words = error instanceof Refused ? error.message : 'The server does not answer.';
      if (!drawn_of[0]) panel.replaceChildren(closer(), h('h2', { class: 'title' }, `Alarm ${number}`), h('p', {}, words));
    }
  } finally {
    is_asking = false;
    if (number !== shown) update(state, true);
  }
}

const closer = () => h('button', { type: 'button', class: 'close', 'aria-label': 'Close the alarm', onclick: close }, '\u2715');

// The severity over time, as steps.
function picture(alarm) {
  const steps = alarm.steps.map((step) => ({ at: seconds_of(step.since), level: rank(step.severity), severity: step.severity }));
  if (steps.length === 0) return null;
  const end = alarm.ended ? seconds_of(alarm.ended) : Math.max(now(), steps.at(-1).at + 1);
  const begin = steps[0].at;
  // The first and the last step are to be seen, however long the others last.
  const x = (at) => 2 + 296 * Math.min(1, Math.max(0, (at - begin) / Math.max(1, end - begin)));
  const parts = steps.map((step, i) => {
    const from = x(step.at);
    const to = Math.max(x(steps[i + 1]?.at ?? end), from + 2);
    const height = 8 * step.level;
    return h('rect', { x: from, y: 40 - height, width: to - from, height, fill: tone(step.severity) });
  });
  const words = steps.map((step) => `${step.severity} from ${exact(step.at)}`).join(', ');
  return h('figure', {}, h('svg', { class: 'picture', viewBox: '0 0 300 41', preserveAspectRatio: 'none', role: 'img', 'aria-label': `Severity over time: ${words}${alarm.ended ? `, ended ${exact(end)}` : ''}` },
    parts, h('line', { x1: 0, x2: 300, y1: 40.5, y2: 40.5, stroke: tone('line') })),
  h('figcaption', { 'aria-hidden': 'true' }, h('span', {}, clock_of(begin)), h('span', {}, 'severity over time'), h('span', {}, alarm.ended ? clock_of(end) : 'now')));
}

function since_words(alarm) {
  const steps = alarm.steps;
  if (steps.length === 0) return [];
  const last = steps.at(-1);
  const before = steps.slice(0, -1).reverse();
  return [severity_mark(last.severity), ' since ', clock_of(seconds_of(last.since)),
    before.map((step) => `, was ${step.severity} ${clock_of(seconds_of(step.since))}`), ' (', ago_words(seconds_of(alarm.created)), ')'];
}

function because(why) {
  const event = why.raise?.event;
  if (!event) return null;
  const rule = why.rule;
  return [`${event.sensor}: offset ${event.offset}, state ${event.state}`, event.at && [' at ', h('time', { datetime: event.at, title: exact(seconds_of(event.at)) }, clock_of(seconds_of(event.at)))],
    rule && h('span', { class: 'dim' }, ` \u2013 the filter ${rule.filter} raises ${code_text(why.code)} by ${events_words(rule.raised_by)}`),
    rule === null && h('span', { class: 'dim' }, ' \u2013 this build\u2019s filter does not raise it by that event')];
}

function ends_when(why) {
  if (why.ended || !why.rule) return null;
  const ways = why.rule.superseded_by.map((other) => h('li', {}, `${events_words(other.events)}: becomes ${code_text(other.code)}, ${words_of(other.name)}`));
  if (why.rule.cleared_by) ways.unshift(h('li', {}, `${events_words(why.rule.cleared_by)}: clears it`));
  return ways.length > 0 ? h('ul', { class: 'plain' }, ways) : 'No event of this sensor ends it.';
}

function buttons(row) {
  const print = `${row?.number} ${row?.operator_state} ${may_act()}`;
  if (print !== acts.print) acts = { print, elements: acts_of(row) };
  return acts.elements;
}

function draw(row, alarm, why) {
  const focus = panel.contains(document.activeElement) ? document.activeElement.dataset.act ?? document.activeElement.className : null;
  const opened = panel.querySelector('details')?.open;
  const severity = row?.severity ?? alarm?.severity ?? 'indeterminate';
  panel.className = `alarm s-${alarm?.ended ? 'cleared' : severity}`;
  const last = alarm?.steps.at(-1);
  const lines = [];
  const line = (name, ...content) => {
    if (content.flat(9).some((one) => one)) lines.push(h('dt', {}, name), h('dd', {}, content));
  };
  const dn = row?.dn ?? alarm?.dn;
  line('Object', dn && h('a', { href: address('', { under: dn }), title: dn }, short(dn)));
  line('Fault', last && `${code_text(last.code)} ${words_of(last.name)}`, !last && row && `${code_text(row.code)} ${words_of(row.name)}`);
  if (alarm?.ended) line('Ended', clock_of(seconds_of(alarm.ended)), `, ${alarm.ending}`, ' (', ago_words(seconds_of(alarm.ended)), ')');
  if (alarm?.merged_into) line('Goes on as', h('a', { href: address_with({ open: number_of(alarm.merged_into) }) }, `alarm ${number_of(alarm.merged_into)}`));
  if (alarm?.related) line('Came from', h('a', { href: address_with({ open: number_of(alarm.related) }) }, `alarm ${number_of(alarm.related)}`));
  if (row?.out_of_service) line('Silent', 'its object is out of service');
  if (row?.operator_state === 'shelved') line('Shelved', row.shelved_until > 0 && `until ${clock_of(row.shelved_until)}`, row.person && ` by ${row.person}`);
  if (row?.chattering) line('Chattering', plural(row.chattering, 'raise'));
  if (why && !why.problem) {
    const reports = why.reports ?? [];
    line('Reported by', reports.map((report, i) => [i > 0 && ', ', h('b', {}, report.sensor), ' since ', clock_of(seconds_of(report.since)), report.count > 1 && ` (${report.count} times)`]));
    line('Because', because(why));
    line('Ends when', ends_when(why));
    line('Respond', why.respond_within && `within ${why.respond_within >= 7200 ? `${Math.round(why.respond_within / 3600)} h` : `${Math.round(why.respond_within / 60)} min`}`, why.notify === false && ' (nobody is notified)');
    line('Consequence', why.consequence);
    line('Advice', why.advice);
  }
  if (why?.problem) line('Why', why.problem);
  const steps = alarm?.steps ?? [];
  panel.replaceChildren(closer(), h('h2', { class: 'title' }, row?.descr || why?.shown?.record?.descr || (last && words_of(last.name)) || 'Alarm'),
    h('p', {}, alarm ? since_words(alarm) : row && severity_mark(row.severity)), ...[alarm && picture(alarm)].filter(Boolean), h('dl', {}, lines), ...buttons(row),
    ...(steps.length > 1 ? [h('h3', { class: 'dim' }, 'Its way'), h('ol', { class: 'plain' }, steps.map((step) => h('li', {}, severity_mark(step.severity),
      ` ${code_text(step.code)} ${words_of(step.name)}, ${clock_of(seconds_of(step.since))}`, step.ended && `, ${step.ending} ${clock_of(seconds_of(step.ended))}`)))] : []),
    h('h3', { class: 'dim' }, 'What people did'),
    alarm?.actions.length > 0 ? h('ol', { class: 'plain', id: 'actions' }, alarm.actions.map((one) => h('li', {}, h('span', { class: 'dim' }, ago_words(seconds_of(one.at))), ' ', action_words(one)))) : h('p', { class: 'dim' }, 'Nothing yet.'),
    ...(why?.shown?.record ? [h('details', { open: opened }, h('summary', {}, 'Raw record'), h('pre', { tabindex: 0 }, raw(why.shown.record)))] : []));
  if (focus) (panel.querySelector(`[data-act="${CSS.escape(focus)}"]`) ?? panel.querySelector('button'))?.focus();
}

// A member a line; a line break in a text would be a hidden character, so lines are put together from elements.
function raw(record) {
  const lines = [];
  for (const [name, value] of Object.entries(record)) {
    if (typeof value === 'object' && value !== null) {
      for (const [inner, of] of Object.entries(value)) lines.push(`${name}.${inner}: ${of}`);
    } else {
      lines.push(`${name}: ${value}`);
    }
  }
  return lines.map((one) => [h('span', {}, one), document.createElement('br')]);
}
