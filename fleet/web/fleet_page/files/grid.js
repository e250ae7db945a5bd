// All controllers at a glance: a small shape for each, by site. The table below it says the same in words.
import { get } from './fleet_server.js';
import { mark, severities, tone } from './marks.js';
import { age, h, now, number, plural } from './text.js';

const gap = 1;
const heading = 20;
let answer = null;
let rows = [];
let cells = [];    // where each row is drawn: x, y
let size = 10;
let chosen = 0;
let parts = null;  // the elements
let drawn_width = 0;

// The largest cell with which all controllers fit into about a screen.
function fitting(count, width, sites) {
  const room = Math.max(260, innerHeight * 0.8) - sites * heading;
  for (let one = 30; one > 5; --one) {
    const columns = Math.max(1, Math.floor(width / (one + gap)));
    if ((Math.ceil(count / columns) + sites) * (one + gap) <= room) return one;
  }
  return 6;
}

function layout(width) {
  size = fitting(rows.length, width, answer.sites.length);
  const columns = Math.max(1, Math.floor(width / (size + gap)));
  cells = [];
  const headings = [];
  let y = 0;
  let column = 0;
  let site = -1;
  for (const row of rows) {
    if (row.site !== site) {
      if (site >= 0) y += (column > 0 ? size + gap : 0) + 6;
      site = row.site;
      headings.push({ site, y });
      y += heading;
      column = 0;
    } else if (column === columns) {
      column = 0;
      y += size + gap;
    }
    cells.push([column * (size + gap), y]);
    ++column;
  }
  return { headings, height: y + size + gap };
}

const path_of = {
  critical: (to, s) => { to.moveTo(s / 2, 0); to.lineTo(s, s / 2); to.lineTo(s / 2, s); to.lineTo(0, s / 2); to.closePath(); },
  major: (to, s) => { to.moveTo(s / 2, 0); to.lineTo(s, s); to.lineTo(0, s); to.closePath(); },
  minor: (to, s) => to.arc(s / 2, s / 2, s / 2, 0, 7),
  warning: (to, s) => to.arc(s / 2, s / 2, s / 2 - 1, 0, 7),
  indeterminate: (to, s) => to.rect(1, 1, s - 2, s - 2),
  cleared: (to, s) => to.rect(s * 0.36, s * 0.36, s * 0.28, s * 0.28),
};
const is_open = (severity) => severity === 'warning' || severity === 'indeterminate';

function words(row) {
  const what = row.worst === 'cleared' ? 'no alarm' : `${row.worst}, ${plural(row.alarms, 'alarm')}, ${number(row.unacknowledged)} new`;
  return `${row.name} of ${answer.sites[row.site]}: ${what}${row.silent_since ? `, silent for ${age(now() - row.silent_since)}` : ''}`;
}

function draw() {
  const { canvas } = parts;
  const width = Math.floor(canvas.parentElement.clientWidth);
  drawn_width = width;
  if (width === 0) return;
  const { headings, height } = layout(width);
  const scale = devicePixelRatio || 1;
  canvas.width = width * scale;
  canvas.height = height * scale;
  canvas.style.height = `${height}px`;
  const to = canvas.getContext('2d');
  to.scale(scale, scale);
  const colour = Object.fromEntries([...severities, 'text', 'line', 'raised', 'dim', 'focus'].map((name) => [name, tone(name)]));
  const counts = new Map();
  for (const row of rows) {
    const of = counts.get(row.site) ?? { all: 0, wrong: 0, silent: 0 };
    ++of.all;
    if (row.worst !== 'cleared') ++of.wrong;
    if (row.silent_since) ++of.silent;
    counts.set(row.site, of);
  }
  to.font = `600 13px ${getComputedStyle(document.body).fontFamily}`;
  to.textBaseline = 'middle';
  to.fillStyle = colour.text;
  for (const { site, y } of headings) {
    const of = counts.get(site);
    to.fillText(`${answer.sites[site]}: ${plural(of.all, 'controller')}, ${number(of.wrong)} with alarms${of.silent ? `, ${number(of.silent)} silent` : ''}`, 0, y + heading / 2, width);
  }
  // Shapes of one colour together: ten thousand changes of colour would take longer than the shapes.
  for (const severity of severities) {
    to.fillStyle = colour[severity];
    to.strokeStyle = colour[severity];
    to.lineWidth = Math.max(1, size / 7);
    if (severity === 'cleared') to.globalAlpha = 0.55;
    for (let i = 0; i < rows.length; ++i) {
      if (rows[i].worst !== severity) continue;
      to.save();
      to.translate(cells[i][0] + 0.5, cells[i][1] + 0.5);
      to.beginPath();
      path_of[severity](to, size - 1);
      if (is_open(severity)) to.stroke();
      else to.fill();
      to.restore();
    }
    to.globalAlpha = 1;
  }
  // Who is silent is crossed out.
  to.strokeStyle = colour.text;
  to.lineWidth = Math.max(1.2, size / 8);
  to.beginPath();
  for (let i = 0; i < rows.length; ++i) {
    if (!rows[i].silent_since) continue;
    const [x, y] = cells[i];
    to.moveTo(x, y);
    to.lineTo(x + size, y + size);
    to.moveTo(x + size, y);
    to.lineTo(x, y + size);
  }
  to.stroke();
  if (document.activeElement === canvas && cells[chosen]) {
    to.strokeStyle = colour.focus;
    to.lineWidth = 2;
    to.strokeRect(cells[chosen][0] - 1, cells[chosen][1] - 1, size + 2, size + 2);
  }
}

function row_at(event) {
  const box = parts.canvas.getBoundingClientRect();
  const [x, y] = [event.clientX - box.left, event.clientY - box.top];
  return cells.findIndex(([left, top]) => x >= left && x < left + size + gap && y >= top && y < top + size + gap);
}

const open = (i) => { location.href = `/controller/${encodeURIComponent(answer.sites[rows[i].site])}/${encodeURIComponent(rows[i].name)}`; };

function tell(i) {
  parts.at.textContent = i >= 0 && rows[i] ? words(rows[i]) : '';
}

// The nearest cell above or below.
function beside(i, down) {
  const [x, y] = cells[i];
  let best = i;
  let far = Infinity;
  cells.forEach(([left, top], other) => {
    if (down ? top <= y : top >= y) return;
    const distance = Math.abs(top - y) * 1000 + Math.abs(left - x);
    if (distance < far) [best, far] = [other, distance];
  });
  return best;
}

function on_key(event) {
  const last = rows.length - 1;
  const wrong = (step) => {
    for (let i = chosen + step; i >= 0 && i <= last; i += step) if (rows[i].worst !== 'cleared' || rows[i].silent_since) return i;
    return chosen;
  };
  const to = { ArrowLeft: () => Math.max(0, chosen - 1), ArrowRight: () => Math.min(last, chosen + 1), ArrowUp: () => beside(chosen, false),
    ArrowDown: () => beside(chosen, true), Home: () => 0, End: () => last, n: () => wrong(1), p: () => wrong(-1) }[event.key];
  if (event.key === 'Enter' && rows[chosen]) open(chosen);
  if (!to) return;
  event.preventDefault();
  chosen = to();
  tell(chosen);
  draw();
}

function build(section) {
  const at = h('span', { class: 'at', role: 'status' });
  const canvas = h('canvas', { tabindex: 0, role: 'application', 'aria-label': 'All controllers; arrow keys move, n and p go to the next and the previous one with alarms, Enter opens it. The table below has the same in words.' });
  canvas.addEventListener('mousemove', (event) => tell(row_at(event)));
  canvas.addEventListener('mouseleave', () => tell(-1));
  canvas.addEventListener('click', (event) => { const i = row_at(event); if (i >= 0) open(i); });
  canvas.addEventListener('keydown', on_key);
  canvas.addEventListener('focus', () => { tell(chosen); draw(); });
  canvas.addEventListener('blur', () => { tell(-1); draw(); });
  const legend = h('div', { class: 'legend' }, severities.toReversed().map((one) =>
    h('span', { class: `s-${one}` }, mark(one), one === 'cleared' ? 'no alarm (a dot)' : one)), h('span', {}, '\u2715 silent'));
  section.append(h('div', { class: 'field-line' }, h('h2', {}, 'All controllers'), at), h('div', { class: 'field' }, canvas), legend);
  section.hidden = false;
  parts = { canvas, at };
  new ResizeObserver(() => { if (Math.floor(canvas.parentElement.clientWidth) !== drawn_width) draw(); }).observe(canvas.parentElement);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', draw);
}

export async function draw_grid(section) {
  const got = await get('/page/grid');
  if (got === answer) return;
  answer = got;
  const site = new URLSearchParams(location.search).get('site');
  const of = Object.fromEntries(got.columns.map((name, i) => [name, i]));
  rows = got.rows.map((row) => ({ site: row[of.site], name: row[of.name], worst: severities[row[of.worst]], alarms: row[of.alarms],
    unacknowledged: row[of.unacknowledged], silent_since: row[of.silent_since] })).filter((row) => !site || got.sites[row.site] === site);
  chosen = Math.min(chosen, Math.max(0, rows.length - 1));
  if (!parts) build(section);
  draw();
  section.dataset.drawn = rows.length;
}
