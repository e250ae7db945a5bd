// The objects by DN: at each branch how much is wrong at or below it, and how bad. Healthy branches are folded.
import { address } from './address.js';
import { is_silenced } from './choice.js';
import { ask_and_do } from './acts.js';
import { severities, severity_mark } from './marks.js';
import { may_act } from './server.js';
import { h, number, plural } from './text.js';
import { all_alarms } from './lists.js';

const most_open = 60;   // branches that are unfolded at first: what fits a screen
const most_children = 100;
const most_offered = 500;  // objects, when one is to be taken out of service

let place, state;
let known = [];              // DNs that had an alarm at any time
const turned = new Map();    // by DN: whether the reader has unfolded it
let drawn = '';

function insert(root, dn) {
  let node = root;
  let path = '';
  for (const name of dn.split('/')) {
    path = path ? `${path}/${name}` : name;
    if (!node.children.has(name)) node.children.set(name, { name, dn: path, children: new Map(), count: 0, worst: 0, own: 0 });
    node = node.children.get(name);
  }
  return node;
}

function tree() {
  const root = { children: new Map() };
  for (const dn of known) insert(root, dn);
  for (const row of state.rows) {
    insert(root, row.dn);
    if (is_silenced(row)) continue;
    let node = root;
    for (const name of row.dn.split('/')) {
      node = node.children.get(name);
      node.count += 1;
      node.worst = Math.max(node.worst, row.rank);
    }
    node.own += 1;
  }
  return root;
}

const natural = new Intl.Collator('en', { numeric: true });
const in_order = (nodes) => [...nodes].sort((a, b) => b.worst - a.worst || natural.compare(a.name, b.name));

function branch(node, budget) {
  // A chain of single branches is one line: "sys / rack-unit-1".
  let name = node.name;
  while (node.children.size === 1 && node.own === 0 && name.length < 60) {
    node = [...node.children.values()][0];
    name = `${name} / ${node.name}`;
  }
  const children = in_order(node.children.values());
  const wrong = children.filter((one) => one.count > 0);
  const well = children.filter((one) => one.count === 0);
  budget.left -= wrong.length;
  const is_open = turned.get(node.dn) ?? (node.count > 0 && (budget.left >= 0 || node.dn.split('/').length < 3));
  const line = h('div', { class: `branch${node.count === 0 ? ' well' : ''}` });
  const item = h('li', {}, line);
  let inner = null;
  const unfold = () => {
    inner = h('ul', {});
    more(inner, wrong, budget);
    if (well.length > 0) {
      const healthy = h('li', { class: 'branch well' }, h('button', { type: 'button', onclick: () => {
        healthy.remove();
        more(inner, well, { left: 0 });
      } }, wrong.length > 0 ? `${number(well.length)} healthy` : plural(well.length, 'healthy object')));
      inner.append(healthy);
    }
    item.append(inner);
  };
  const fold = children.length > 0 && h('button', { type: 'button', 'aria-expanded': String(is_open), 'aria-label': `${name}: what is below`, onclick: (event) => {
    const now_open = event.currentTarget.getAttribute('aria-expanded') !== 'true';
    event.currentTarget.setAttribute('aria-expanded', String(now_open));
    event.currentTarget.textContent = now_open ? '\u2212' : '+';
    turned.set(node.dn, now_open);
    if (now_open && !inner) unfold();
    else inner.hidden = !now_open;
  } }, is_open ? '\u2212' : '+');
  line.append(...[fold || h('span', { class: 'leaf' }), h('a', { class: 'name', href: address('', { under: node.dn }), title: node.dn }, name),
    ...(node.count > 0 ? [severity_mark(severities[node.worst]), h('span', { class: 'many' }, plural(node.count, 'alarm'))] : [h('span', { class: 'dim' }, 'healthy')])]);
  if (children.length > 0 && is_open) unfold();
  return item;
}

function more(list, nodes, budget) {
  list.append(...nodes.slice(0, most_children).map((node) => branch(node, budget)));
  const rest = nodes.slice(most_children);
  if (rest.length === 0) return;
  const button = h('li', { class: 'branch' }, h('button', { type: 'button', onclick: () => {
    button.remove();
    more(list, rest, budget);
  } }, `${number(rest.length)} more`));
  list.append(button);
}

function draw() {
  const print = `${may_act()} ${state.maintenance} ${known.length} ${state.rows.map((row) => `${row.dn} ${row.rank} ${is_silenced(row)}`).join('\n')}`;
  if (print === drawn) return;
  drawn = print;
  const root = tree();
  const focus = place.contains(document.activeElement) ? document.activeElement.title || document.activeElement.getAttribute('aria-label') : null;
  const list = h('ul', { class: 'tree' });
  more(list, in_order(root.children.values()), { left: most_open });
  const maintain = may_act() && h('button', { type: 'button', onclick: () => {
    const dn = h('input', { name: 'dn', required: true, placeholder: 'DN of the object', list: 'known' });
    const offered = [...new Set([...state.rows.map((row) => row.dn), ...known])].slice(0, most_offered);
    ask_and_do('maintain', h('div', {}, h('label', {}, 'Object (DN)', dn), h('datalist', { id: 'known' }, offered.map((one) => h('option', { value: one })))), { get dn() { return dn.value.trim(); } });
  } }, 'Take an object out of service\u2026');
  place.replaceChildren(h('p', { class: 'acts' }, h('a', { href: '/maintenance' }, `${plural(state.maintenance, 'object')} out of service`), maintain),
    root.children.size > 0 ? list : h('p', { class: 'quiet' }, 'No object has had an alarm.'));
  if (focus) [...place.querySelectorAll('a, button')].find((one) => one.title === focus || one.getAttribute('aria-label') === focus)?.focus();
}

export default {
  title: 'Objects',
  show(where, all) {
    state = all;
    drawn = '';
    place = h('div', {});
    where.append(place);
    draw();
    all_alarms().then((alarms) => {
      known = [...new Set(alarms.map((alarm) => alarm.dn))];
      if (place.isConnected) draw();
    }).catch(() => {});
  },
  update(all) {
    state = all;
    draw();
  },
};
