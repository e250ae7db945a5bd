// What operators do, each in a dialog with a comment; and the help.
import { severity_mark } from './marks.js';
import { Refused, act, may_act } from './server.js';
import { clear } from './selection.js';
import { clock_of, exact, h, number, plural } from './text.js';
import { refresh, say, state } from './page.js';

const durations = [['3600', '1 hour'], ['7200', '2 hours'], ['28800', '8 hours'], ['86400', '1 day'], ['604800', '7 days'], ['2592000', '30 days']];

const kinds = {
  acknowledge: { title: 'Acknowledge', done: 'Acknowledged' },
  unacknowledge: { title: 'Take the acknowledgement back', done: 'Taken back' },
  close: { title: 'Close', done: 'Closed', needs_comment: true, note: 'The alarm is dealt with, though it is still active.' },
  comment: { title: 'Comment', done: 'Commented', needs_comment: true },
  shelve: { title: 'Shelve', done: 'Shelved', needs_comment: true, has_end: true, note: 'The alarm is silent for this time; it is still recorded.' },
  unshelve: { title: 'Unshelve', done: 'Unshelved' },
  maintain: { title: 'Take out of service', done: 'Out of service', needs_comment: true, has_end: true, note: 'The object and all below it are silent for this time.' },
  end_maintenance: { title: 'Back in service', done: 'Back in service' },
  acknowledge_missed: { title: 'Acknowledge missed alarms', done: 'Acknowledged' },
};

function dialog(...content) {
  const element = h('dialog', {}, ...content);
  const before = document.activeElement;
  element.addEventListener('close', () => {
    element.remove();
    before?.focus?.();
  });
  document.body.append(element);
  element.showModal();
  return element;
}

// Asks for the comment and does it. `what` is shown, `members` go into the request, and `done` is told what the engine
// answered.
export function ask_and_do(kind, what, members, done = () => {}) {
  const of = kinds[kind];
  const wrong = h('p', { class: 'wrong', role: 'alert' });
  const comment = h('textarea', { name: 'comment', rows: 2, maxlength: 1000, required: of.needs_comment });
  const length = of.has_end && h('select', { name: 'for' }, durations.map(([value, text]) => h('option', { value, selected: value === '7200' }, text)));
  // When the answer is lost on its way, the same action is asked for again, and is done once.
  const id = Array.from(crypto.getRandomValues(new Uint8Array(16)), (byte) => byte.toString(16).padStart(2, '0')).join('');
  const first = h('button', { class: 'first' }, of.title);
  const form = h('form', { method: 'dialog', onsubmit: async (event) => {
    event.preventDefault();
    first.disabled = true;
    const text = comment.value.replace(/\s+/g, ' ').trim();
    try {
      const answer = await act({ do: kind, id, ...members, ...(text ? { comment: text } : {}), ...(length ? { for: Number(length.value) } : {}) });
      element.close();
      say(done(answer) ?? `${of.done}.`, true);
      refresh();
    } catch (error) {
      wrong.textContent = '';
      wrong.append(h('span', {}, error instanceof Refused ? error.message : 'The server does not answer, so it is not known whether this was done. Try again: it is done only once.'));
      first.disabled = false;
    }
  } }, what, of.note && h('p', { class: 'dim' }, of.note), length && h('label', {}, 'For', length),
  h('label', {}, of.needs_comment ? 'Comment' : 'Comment (may be empty)', comment), wrong,
  h('div', { class: 'acts' }, h('button', { type: 'button', onclick: () => element.close() }, 'Cancel'), first));
  const element = dialog(h('h2', { id: 'dialog-title' }, of.title), form);
  element.setAttribute('aria-labelledby', 'dialog-title');
  (length || comment).focus();
}

// What may be done with an alarm in its state. Of several alarms an action may fit only some: the engine leaves the others
// out.
const is_answered = (row) => ['acknowledged', 'closed'].includes(row.operator_state);
const fits = {
  acknowledge: (row) => !is_answered(row),
  unacknowledge: is_answered,
  shelve: (row) => row.operator_state !== 'shelved',
  unshelve: (row) => row.operator_state === 'shelved',
  comment: () => true,
  close: (row) => row.operator_state !== 'closed',
};
const labels = { acknowledge: 'Acknowledge', unacknowledge: 'Take back', shelve: 'Shelve\u2026', unshelve: 'Unshelve', comment: 'Comment', close: 'Close' };

// The numbers in few bytes, each as its distance from the one before it.
export function numbers_text(numbers) {
  const sorted = [...numbers].sort((a, b) => a - b);
  return sorted.map((one, i) => (i === 0 ? one : `+${one - sorted[i - 1]}`)).join();
}

const most_named = 5;
const named = (row) => h('div', {}, severity_mark(row.severity), ` ${row.descr}`);

// Acts on alarms, after asking for a comment.
export function act_on(rows, kind) {
  if (rows.length === 0 || !may_act()) {
    say(rows.length > 0 ? 'Only operators may do that.' : 'No alarm is chosen.', true);
    return;
  }
  const fitting = rows.filter(fits[kind]);
  if (fitting.length === 0) {
    say(`${kinds[kind].title}: nothing to do.`, true);
    return;
  }
  const left = fitting.length - most_named;
  const others = rows.length - fitting.length;
  const what = h('div', {}, rows.length > 1 && h('p', {}, `${plural(fitting.length, 'alarm')}${others > 0 ? `; it does not apply to the ${others === 1 ? 'other one' : `${number(others)} others`}` : ''}:`),
    fitting.slice(0, most_named).map(named), left > 0 && h('div', { class: 'dim' }, `and ${number(left)} more`));
  ask_and_do(kind, what, { alarms: numbers_text(fitting.map((row) => row.number)), ledger_id: state.ledger_id, ...(fitting.length > 1 ? { selection: true } : {}) }, () => {
    if (rows.length > 1) clear();
    return fitting.length > 1 ? `${kinds[kind].done}: ${plural(fitting.length, 'alarm')}.` : undefined;
  });
}

// A button for each action that fits one of the alarms. They are asked for again when a button is pressed, since they may
// have changed.
export function acts_on(rows, ask_again) {
  if (rows.length === 0 || !may_act()) return [];
  return Object.keys(fits).filter((kind) => rows.some(fits[kind])).map((kind) =>
    h('button', { type: 'button', 'data-act': kind, onclick: () => act_on(ask_again(), kind) }, labels[kind]));
}

// The buttons of one alarm.
export function acts_of(row) {
  const buttons = acts_on(row ? [row] : [], () => [state.rows.find((one) => one.number === row.number) ?? row]);
  return buttons.length > 0 ? [h('div', { class: 'acts' }, buttons)] : [];
}

export function show_help() {
  const keys = [['/', 'filter or search'], ['j', 'next alarm'], ['k', 'alarm before'], ['Enter', 'open the alarm'], ['Esc', 'close it, clear the selection'],
    ['x', 'select, for several at once'], ['X', 'select all up to here'], ['a', 'acknowledge'], ['s', 'shelve'], ['c', 'comment'], ['+ \u2212', 'zoom the timeline'], ['\u2190 \u2192', 'earlier, later'], ['\u2191 \u2193', 'choose an object in the timeline'], ['?', 'this help']];
  dialog(h('h2', {}, 'Keys'), h('dl', {}, keys.map(([key, text]) => [h('dt', {}, h('kbd', {}, key)), h('dd', {}, text)])),
    h('form', { method: 'dialog', class: 'acts' }, h('button', { class: 'first' }, 'Close'))).setAttribute('aria-label', 'Keys');
}

// What somebody did, in words.
export function action_words(action) {
  const who = action.on_behalf_of ?? action.person;
  const until = action.until ? ` until ${clock_of(Date.parse(action.until) / 1000)}` : '';
  return [h('b', { title: action.on_behalf_of && `through ${action.person}` }, who ? `${who} ` : ''), `${action.change.replaceAll('_', ' ')}${until}${who ? '' : action.action ? ' by itself' : ' because it got worse'}`,
    action.comment && [': ', h('q', {}, action.comment)]];
}

export const until_words = (moment) => `until ${exact(moment)}`;
export const alarms_words = (count) => plural(count, 'alarm');
