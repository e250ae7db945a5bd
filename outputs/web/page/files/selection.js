// The alarms that an operator has selected in the list, to act on all of them at once.
import { acts_on } from './acts.js';
import { may_act } from './server.js';
import { h, number } from './text.js';

const selected = new Set();  // numbers of alarms
let rows = [];               // those that can be selected: what the list shows, in its order
let range_from = 0;          // the number of the alarm that was selected or deselected last
let all, count, buttons;
let drawn = '';              // what the buttons were made for: they stay the same ones under the pointer
let changed = () => {};

export const is_selected = (row) => selected.has(row.number);
export const has_selection = () => selected.size > 0;
export const selected_rows = () => rows.filter(is_selected);

export function clear() {
  selected.clear();
  changed();
}

// Selects or deselects a row; with `is_range` all rows from the last one on get the same state.
export function toggle(row, is_range = false) {
  const to = !selected.has(row.number);
  const here = rows.findIndex((one) => one.number === row.number);
  const from = is_range ? rows.findIndex((one) => one.number === range_from) : here;
  if (here < 0) return;
  const first = from < 0 ? here : from;
  for (const one of rows.slice(Math.min(first, here), Math.max(first, here) + 1)) {
    if (is_range || to) selected.add(one.number);
    else selected.delete(one.number);
  }
  range_from = row.number;
  changed();
}

// The rows that the list shows now. Nobody acts on what he does not see: other rows are no longer selected.
export function offer(shown) {
  rows = shown;
  const numbers = new Set(rows.map((row) => row.number));
  for (const one of selected) if (!numbers.has(one)) selected.delete(one);
  draw();
}

// The line above the list; `call` is called when other rows are selected.
export function selection_line(call) {
  selected.clear();
  range_from = 0;
  drawn = '';
  changed = () => {
    draw();
    call();
  };
  all = h('input', { type: 'checkbox', onchange: () => {
    if (all.checked) for (const row of rows) selected.add(row.number);
    else selected.clear();
    changed();
  } });
  count = h('span', {});
  buttons = h('span', { class: 'acts' });
  return h('div', { class: 'selection', id: 'selection', role: 'group', 'aria-label': 'Selected alarms' }, h('label', {}, all, count), buttons);
}

function draw() {
  if (!all) return;
  all.closest('.selection').hidden = !may_act() || rows.length === 0;
  all.checked = selected.size > 0 && selected.size === rows.length;
  all.indeterminate = selected.size > 0 && selected.size < rows.length;
  const text = selected.size > 0 ? `${number(selected.size)} of ${number(rows.length)} selected` : 'Select all';
  if (count.textContent !== text) count.textContent = text;
  const acts = acts_on(selected_rows(), selected_rows);
  const print = acts.map((one) => one.textContent).join();
  if (print === drawn) return;
  drawn = print;
  buttons.replaceChildren(...acts, ...(acts.length > 0 ? [h('button', { type: 'button', onclick: clear }, 'Clear')] : []));
}
