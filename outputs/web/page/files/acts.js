// What operators do, each in a dialog with a comment; and the help.
import { is_new } from './choice.js';
import { severity_mark } from './marks.js';
import { act, may_act } from './server.js';
import { clock_of, exact, h, plural } from './text.js';
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

// Asks for the comment and does it. `what` is shown, `members` go into the request.
export function ask_and_do(kind, what, members) {
  const of = kinds[kind];
  const wrong = h('p', { class: 'wrong', role: 'alert' });
  const comment = h('textarea', { name: 'comment', rows: 2, maxlength: 1000, required: of.needs_comment });
  const length = of.has_end && h('select', { name: 'for' }, durations.map(([value, text]) => h('option', { value, selected: value === '7200' }, text)));
  const first = h('button', { class: 'first' }, of.title);
  const form = h('form', { method: 'dialog', onsubmit: async (event) => {
    event.preventDefault();
    first.disabled = true;
    const text = comment.value.replace(/\s+/g, ' ').trim();
    try {
      await act({ do: kind, ...members, ...(text ? { comment: text } : {}), ...(length ? { for: Number(length.value) } : {}) });
      element.close();
      say(`${of.done}.`);
      refresh();
    } catch (error) {
      wrong.textContent = '';
      wrong.append(h('span', {}, error.message));
      first.disabled = false;
    }
  } }, what, of.note && h('p', { class: 'dim' }, of.note), length && h('label', {}, 'For', length),
  h('label', {}, of.needs_comment ? 'Comment' : 'Comment (may be empty)', comment), wrong,
  h('div', { class: 'acts' }, h('button', { type: 'button', onclick: () => element.close() }, 'Cancel'), first));
  const element = dialog(h('h2', { id: 'dialog-title' }, of.title), form);
  element.setAttribute('aria-labelledby', 'dialog-title');
  (length || comment).focus();
}

export function act_on(row, kind) {
  if (!row || !may_act()) {
    say(row ? 'Only operators may do that.' : 'No alarm is chosen.');
    return;
  }
  if (kind === 'acknowledge' && !is_new(row) && row.operator_state !== 'none' && row.operator_state !== 'unshelved') {
    say('The alarm is acknowledged already.');
    return;
  }
  ask_and_do(kind, h('p', {}, severity_mark(row.severity), ` ${row.descr}`), { alarms: String(row.number), ledger_id: state.ledger_id });
}

export function acts_of(row) {
  if (!row || !may_act()) return [];
  const button = (kind, text) => h('button', { type: 'button', 'data-act': kind, onclick: () => act_on(state.rows.find((one) => one.number === row.number) ?? row, kind) }, text);
  const is_answered = ['acknowledged', 'closed'].includes(row.operator_state);
  return [h('div', { class: 'acts' }, is_answered ? button('unacknowledge', 'Take back') : button('acknowledge', 'Acknowledge'),
    row.operator_state === 'shelved' ? button('unshelve', 'Unshelve') : button('shelve', 'Shelve\u2026'),
    button('comment', 'Comment'), row.operator_state !== 'closed' && button('close', 'Close'))];
}

export function show_help() {
  const keys = [['/', 'filter or search'], ['j', 'next alarm'], ['k', 'alarm before'], ['Enter', 'open the alarm'], ['Esc', 'close it'],
    ['a', 'acknowledge'], ['s', 'shelve'], ['+ \u2212', 'zoom the timeline'], ['\u2190 \u2192', 'earlier, later'], ['\u2191 \u2193', 'choose an object in the timeline'], ['?', 'this help']];
  dialog(h('h2', {}, 'Keys'), h('dl', {}, keys.map(([key, text]) => [h('dt', {}, h('kbd', {}, key)), h('dd', {}, text)])),
    h('form', { method: 'dialog', class: 'acts' }, h('button', { class: 'first' }, 'Close'))).setAttribute('aria-label', 'Keys');
}

// What somebody did, in words.
export function action_words(action) {
  const who = action.on_behalf_of ? `${action.on_behalf_of} (by ${action.person})` : action.person;
  const until = action.until ? ` until ${clock_of(Date.parse(action.until) / 1000)}` : '';
  return [h('b', {}, who ? `${who} ` : ''), `${action.change.replaceAll('_', ' ')}${until}${who ? '' : action.action ? ' by itself' : ' because it got worse'}`,
    action.comment && [': ', h('q', {}, action.comment)]];
}

export const until_words = (moment) => `until ${exact(moment)}`;
export const alarms_words = (count) => plural(count, 'alarm');
