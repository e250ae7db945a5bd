// The list of active alarms. Nothing jumps: while somebody points at the list, has the focus in it or has scrolled, what
// is there stays where it is, and new alarms are announced above it.
import { address_with, open_alarm, parameters, replace } from './address.js';
import { is_new, order_options, select, severity_options, state_options } from './choice.js';
import { rank, severities, severity_mark } from './marks.js';
import { has_selection, is_selected, offer, selection_line, toggle } from './selection.js';
import { may_act } from './server.js';
import { ago, h, number, plural, short, shown } from './text.js';

const step = 100;  // rows that are drawn at once; more follow when the reader comes near the end

let place, list, news, empty, end, count, form;
let rows = [];   // all that are chosen, in the order in which they are shown
let drawn = 0;
let parts = new Map();  // by number: the row's element and what it was made of
let state;

function options(name, label, all, value) {
  return h('select', { name, 'aria-label': label }, all.map(([key, text]) => h('option', { value: key, selected: key === value }, text)));
}

function make_form() {
  const at = parameters();
  form = h('form', { class: 'filter', id: 'filter', role: 'search', onsubmit: (event) => event.preventDefault() },
    h('input', { type: 'search', name: 'text', 'aria-label': 'Filter: text, DN or code', placeholder: 'filter: text, DN or code', autocomplete: 'off', maxlength: 200, value: at.get('text') }),
    options('severity', 'Severity', severity_options, at.get('severity')),
    options('state', 'State', state_options, at.get('state')),
    h('input', { type: 'search', name: 'under', 'aria-label': 'Object: a DN, with all below it', placeholder: 'object', autocomplete: 'off', maxlength: 500, value: at.get('under') }),
    options('order', 'Order', order_options, at.get('order')),
    h('span', { class: 'shown', id: 'shown' }));
  count = form.querySelector('#shown');
  // Typed values are the reader's own; they are set as they are, so that he can go on typing.
  form.elements.text.value = at.get('text') ?? '';
  form.elements.under.value = at.get('under') ?? '';
  form.addEventListener('input', () => {
    replace(address_with({ ...Object.fromEntries(new FormData(form)), skip: '' }));
    draw(true);
  });
}

function is_reading() {
  return has_selection() || list.matches(':hover') || list.contains(document.activeElement) || list.getBoundingClientRect().top < 0;
}

function state_cell(row) {
  const cell = h('span', { class: 'state' });
  if (is_new(row)) cell.append(h('b', { class: 'new' }, 'new'));
  else if (row.person) cell.append(h('span', {}, row.person));
  return cell;
}

function words_of_row(row) {
  const by = row.person ? ` by ${row.person}` : '';
  return [row.out_of_service && 'out of service',
    row.operator_state === 'shelved' && `shelved${by}`,
    ['acknowledged', 'closed'].includes(row.operator_state) && `${row.operator_state}${by}`,
    row.chattering > 0 && `chattering, ${plural(row.chattering, 'raise')}`,
    row.reporters > 1 && `${row.reporters} sensors report this`].filter(Boolean).join(', ');
}

export function fill_row(link, row) {
  const words = words_of_row(row);
  link.className = `row s-${row.severity}`;
  link.replaceChildren(severity_mark(row.severity), h('span', { class: 'obj', title: row.dn }, short(row.dn)),
    h('span', { class: 'age' }, ago(row.created)), state_cell(row), h('span', { class: 'descr' }, row.descr),
    ...(words ? [h('span', { class: 'words' }, words)] : []));
}

const print_of = (row) => `${row.fault_dn} ${row.severity} ${row.operator_state} ${row.person} ${row.reporters} ${row.chattering} ${row.out_of_service} ${row.descr}`;

// A box to select the alarm, for who may act.
function show_selected(part) {
  if (may_act() && !part.box) {
    part.box = h('input', { type: 'checkbox', onclick: (event) => toggle(part.row, event.shiftKey) });
    part.element.prepend(h('label', { class: 'box' }, part.box));
  }
  if (!part.box) return;
  const label = `Select ${short(part.row.dn)}: ${part.row.descr}`;
  if (part.label !== label) part.box.setAttribute('aria-label', shown(part.label = label));
  part.box.disabled = part.is_over === true;
  part.box.checked = is_selected(part.row);
  part.element.classList.toggle('selected', part.box.checked);
}

function element_of(row) {
  let part = parts.get(row.number);
  if (!part) {
    const link = h('a', { 'data-number': row.number });
    part = { element: h('li', {}, link), link, print: '', row };
    parts.set(row.number, part);
  }
  part.row = row;
  const print = print_of(row);
  if (part.print !== print || part.is_over) {
    part.print = print;
    part.is_over = false;
    fill_row(part.link, row);
  }
  part.element.className = `s-${row.severity}`;
  show_selected(part);
  part.link.setAttribute('href', address_with({ open: row.number }));
  const is_open = row.number === open_alarm();
  part.link.classList.toggle('chosen', is_open);
  if (is_open) part.link.setAttribute('aria-current', 'true');
  else part.link.removeAttribute('aria-current');
  return part.element;
}

// Why there is nothing to see, and where there may be something.
function draw_empty() {
  const is_filtered = ['text', 'severity', 'state', 'under'].some((name) => parameters().get(name));
  const text = state.rows.length === 0 ? 'No alarm is active.' : is_filtered ? 'No active alarm fits the filter.' : 'No alarm is active, but for those that are silenced.';
  const more = state.rows.length === 0 ? [state.missed > 0 && ['/missed', `${number(state.missed)} came and went unseen`], ['/history', 'All that there were']]
    : [['/?state=all', `All ${plural(state.rows.length, 'active alarm')}`]];
  const links = more.filter(Boolean).map(([href, label]) => [' ', h('a', { href }, label)]);
  const print = `${text}${links.map((one) => one[1].textContent).join()}`;
  if (empty.dataset.print === print) return;
  empty.dataset.print = print;
  empty.replaceChildren(h('b', {}, text), ...links.flat());
}

// Puts the first rows in place, touching only what is not there yet.
function draw_rows(until) {
  drawn = Math.min(until, rows.length);
  let before = list.firstElementChild;
  for (let i = 0; i < drawn; ++i) {
    const element = element_of(rows[i]);
    if (element === before) before = before.nextElementSibling;
    else list.insertBefore(element, before);
  }
  while (before) {
    const next = before.nextElementSibling;
    before.remove();
    before = next;
  }
  if (parts.size > 2 * drawn + 200) {
    const numbers = new Set(rows.slice(0, drawn).map((row) => row.number));
    for (const key of parts.keys()) if (!numbers.has(key)) parts.delete(key);
  }
  end.hidden = drawn === rows.length;
  end.firstElementChild.textContent = `Show more: ${number(rows.length - drawn)} below`;
  empty.hidden = rows.length > 0;
  if (rows.length === 0) draw_empty();
}

// `at_once`: the reader himself asked for it.
function draw(at_once) {
  const wanted = select(state.rows, parameters());
  count.textContent = `${number(wanted.length)} of ${number(state.rows.length)} shown`;
  const had = new Set(rows.map((row) => row.number));
  const fresh = at_once ? [] : wanted.filter((row) => !had.has(row.number));
  if (at_once || !is_reading()) {
    rows = wanted;
    offer(rows);
    news.replaceChildren();
    draw_rows(at_once === true ? step : Math.max(step, drawn));
    return;
  }
  // What is there is brought up to date in its place.
  const of_number = new Map(state.rows.map((row) => [row.number, row]));
  rows = rows.map((row) => of_number.get(row.number) ?? { ...row, is_over: true });
  offer(rows.filter((row) => !row.is_over));
  for (const row of rows.slice(0, drawn)) {
    element_of(row);
    if (row.is_over) {
      const part = parts.get(row.number);
      part.is_over = true;
      part.link.classList.add('over');
      part.link.querySelector('.state').textContent = 'ended';
      show_selected(part);
    }
  }
  if (fresh.length === 0) {
    news.replaceChildren();
  } else {
    const worst = severities[Math.max(...fresh.map((row) => rank(row.severity)))];
    const text = `${number(fresh.length)} new, the worst is ${worst}: show`;
    if (news.textContent !== text) {
      news.replaceChildren(h('button', { type: 'button', onclick: () => {
        list.getBoundingClientRect().top < 0 && place.scrollIntoView();
        draw(true);
        list.querySelector('a')?.focus();
      } }, text));
    }
  }
}

export default {
  title: 'Alarms',
  show(where, all) {
    place = where;
    state = all;
    rows = [];
    parts = new Map();
    make_form();
    news = h('div', { class: 'news' });
    list = h('ol', { class: 'alarms', id: 'list' });
    empty = h('p', { class: 'quiet', hidden: true });
    end = h('p', { class: 'pages', hidden: true }, h('button', { type: 'button', onclick: () => draw_rows(drawn + step) }));
    const line = selection_line(() => {
      for (const row of rows.slice(0, drawn)) show_selected(parts.get(row.number));
    });
    place.append(form, news, line, list, empty, end);
    new IntersectionObserver((seen) => {
      if (seen.some((one) => one.isIntersecting) && drawn < rows.length) draw_rows(drawn + step);
    }, { rootMargin: '600px' }).observe(end);
    draw(true);
  },
  update(all) {
    state = all;
    draw(false);
  },
  // The address changed: another filter, or another alarm is open.
  moved(all) {
    state = all;
    const at = parameters();
    let is_other = false;
    for (const name of ['text', 'severity', 'state', 'under', 'order']) {
      const field = form.elements[name];
      const value = at.get(name) ?? '';
      if (field.value !== value) {
        field.value = value;
        is_other = true;
      }
    }
    if (is_other) draw(true);
    else draw_rows(drawn);
  },
};
