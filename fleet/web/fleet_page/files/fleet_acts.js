// What operators ask controllers to do: of an alarm, of those that are ticked, or of a group.
import { refresh_now } from './fleet.js';
import { Refused, act, may_act } from './fleet_server.js';
import { h, number, plural } from './text.js';

const kinds = {
  acknowledge: { title: 'Acknowledge' },
  unacknowledge: { title: 'Take the acknowledgement back' },
  shelve: { title: 'Shelve', needs_comment: true, has_end: true, note: 'The alarm is silent for this time; it is still recorded.' },
  unshelve: { title: 'Unshelve' },
  comment: { title: 'Comment', needs_comment: true },
  close: { title: 'Close', needs_comment: true, note: 'The alarm is dealt with, though it is still active.' },
};
const durations = [['3600', '1 hour'], ['28800', '8 hours'], ['86400', '1 day'], ['604800', '7 days'], ['2592000', '30 days']];

function say(text) {
  const said = document.getElementById('said');
  said.classList.remove('vh');
  said.textContent = text;
  setTimeout(() => said.classList.add('vh'), 6000);
}

// Asks for a comment and sends the action down.
function ask_and_do(kind, what, members) {
  const of = kinds[kind];
  const wrong = h('p', { class: 'wrong', role: 'alert' });
  const comment = h('textarea', { name: 'comment', rows: 2, maxlength: 1000, required: of.needs_comment });
  const length = of.has_end && h('select', { name: 'for' }, durations.map(([value, text]) => h('option', { value }, text)));
  const first = h('button', { class: 'first' }, of.title);
  const before = document.activeElement;
  const form = h('form', { method: 'dialog', onsubmit: async (event) => {
    event.preventDefault();
    first.disabled = true;
    const text = comment.value.replace(/\s+/g, ' ').trim();
    try {
      const asked = await act({ do: kind, ...members, ...(text ? { comment: text } : {}), ...(length ? { for: Number(length.value) } : {}) });
      element.close();
      ticked.clear();
      say(`${of.title}: ${plural(asked.alarms, 'alarm')} on ${plural(asked.controllers, 'controller')} asked for. The view shows it when it is done.`);
      refresh_now();
    } catch (error) {
      wrong.replaceChildren(h('span', {}, error instanceof Refused ? error.message : 'The server does not answer, so it is not known whether this was asked for. Look at the view "Actions".'));
      first.disabled = false;
    }
  } }, h('p', {}, what), of.note && h('p', { class: 'dim' }, of.note), length && h('label', {}, 'For', length),
  h('label', {}, of.needs_comment ? 'Comment' : 'Comment (may be empty)', comment), wrong,
  h('div', { class: 'acts' }, h('button', { type: 'button', onclick: () => element.close() }, 'Cancel'), first));
  const element = h('dialog', { 'aria-labelledby': 'dialog-title' }, h('h2', { id: 'dialog-title' }, of.title), form);
  element.addEventListener('close', () => {
    element.remove();
    before?.focus?.();
  });
  document.body.append(element);
  element.showModal();
  (length || comment).focus();
}

const button = (kind, what, members) =>
  h('button', { type: 'button', 'data-act': kind, onclick: () => ask_and_do(kind, what(), members()) }, kinds[kind].title);

const ticked = new Set();

function tell_ticked() {
  const bar = document.getElementById('ticked');
  if (!bar) return;
  const boxes = [...document.querySelectorAll('#list .box input')];
  const all = bar.querySelector('input');
  all.checked = boxes.length > 0 && boxes.every((box) => box.checked);
  all.indeterminate = !all.checked && boxes.some((box) => box.checked);
  bar.querySelector('span').textContent = ticked.size > 0 ? `${number(ticked.size)} chosen` : 'choose all shown';
  bar.querySelector('.acts').hidden = ticked.size === 0;
}

function tick(id, is_ticked) {
  if (is_ticked) ticked.add(id);
  else ticked.delete(id);
  document.querySelector(`#list li[data-id="${id}"]`)?.classList.toggle('selected', is_ticked);
}

// Boxes before the rows of a list, and what may be done with those that are ticked.
function offer_list(list) {
  if (list.children.length === 0) return;
  for (const row of list.children) {
    const { id } = row.dataset;
    const box = h('input', { type: 'checkbox', 'aria-label': `Choose ${row.querySelector('.descr')?.textContent ?? 'the alarm'}`, onchange: () => {
      tick(id, box.checked);
      tell_ticked();
    } });
    row.classList.add(...[...row.querySelector('.row').classList].filter((name) => name.startsWith('s-')));
    row.prepend(h('label', { class: 'box' }, box));
  }
  const what = () => `${plural(ticked.size, 'alarm')} will be asked for.`;
  const members = () => ({ alarms: [...ticked].join(), selection: true });
  list.before(h('div', { class: 'selection', id: 'ticked' },
    h('label', {}, h('input', { type: 'checkbox', onchange: (event) => {
      for (const box of document.querySelectorAll('#list .box input')) {
        box.checked = event.target.checked;
        tick(box.closest('li').dataset.id, box.checked);
      }
      tell_ticked();
    } }), h('span', {})),
    h('div', { class: 'acts' }, ['acknowledge', 'unacknowledge', 'shelve', 'unshelve', 'comment', 'close'].map((kind) => button(kind, what, members)))));
}

export function restore_boxes() {
  for (const row of document.querySelectorAll('#list > li[data-id]')) {
    const box = row.querySelector('.box input');
    if (!box) continue;
    box.checked = ticked.has(row.dataset.id);
    row.classList.toggle('selected', box.checked);
  }
  tell_ticked();
}

export function offer_actions() {
  if (!may_act()) return;
  for (const group of document.querySelectorAll('.group[data-group]')) {
    if (Number(group.dataset.new) === 0) continue;
    group.append(button('acknowledge', () => group.querySelector('a').textContent, () => ({ group: Number(group.dataset.group) })));
  }
  const alarm = document.querySelector('article.alarm[data-id]');
  if (alarm && !alarm.dataset.over) {
    const { state, id } = alarm.dataset;
    const is_answered = ['acknowledged', 'closed'].includes(state);
    const fitting = [is_answered ? 'unacknowledge' : 'acknowledge', state === 'shelved' ? 'unshelve' : 'shelve', 'comment', ...(state === 'closed' ? [] : ['close'])];
    alarm.querySelector('dl').after(h('div', { class: 'acts' }, fitting.map((kind) =>
      button(kind, () => alarm.querySelector('h1').textContent, () => ({ alarms: id })))));
  }
  const list = document.getElementById('list');
  if (list && ['/alarms'].includes(location.pathname) || list && location.pathname.startsWith('/controller/')) offer_list(list);
  restore_boxes();
}
