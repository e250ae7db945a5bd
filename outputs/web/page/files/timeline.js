// Objects as lanes, alarms as bars in their severity over time; the present is at the right edge. The bars are drawn;
// what is chosen is a list of real elements below.
import { address_with, go, open_alarm, parameters, replace } from './address.js';
import { is_below } from './choice.js';
import { severities, severity_mark, tone } from './marks.js';
import { age, clock, clock_of, day, exact, h, now, number, plural, short, shown, words_of } from './text.js';
import { all_alarms, long_list, part_words } from './lists.js';
import { failed, say } from './page.js';

const hour = 3600;
const spans = [[hour, 'hour'], [24 * hour, 'day'], [7 * 24 * hour, 'week'], [30 * 24 * hour, 'month'], [365 * 24 * hour, 'year']];
const most_lanes = 40;
const axis_height = 26;
const bin = 6;  // pixels, where there are more bars than these have room for

let place, box, canvas, range, chosen_list, tools, tip, part;
let alarms = [];
let lanes = [];
let chosen = -1;     // lane; -1: all
let span = 24 * hour;
let end = null;      // null: now
let lane_height = 26;
let bars = [];       // where they were drawn: what a click finds

const last = () => end ?? now();
const label_width = () => (box.clientWidth < 560 ? 92 : 220);
const width = () => box.clientWidth - label_width();
const x_of = (moment) => label_width() + ((moment - (last() - span)) / span) * width();
const moment_of = (x) => last() - span + ((x - label_width()) / width()) * span;
const ended_at = (alarm) => alarm.ended || now();

// Objects that share a lane when there are too many: first those whose numbers differ, then all below a level.
function ways_to_group() {
  const ways = [(dn) => dn, (dn) => dn.replace(/rack-unit-\d+/, '$&\u0000').replace(/(?<=-)\d+(?!\u0000)(?=\/|$)/g, '*').replace('\u0000', '')];
  for (let level = 6; level > 0; --level) ways.push((dn) => dn.split('/').slice(0, level).join('/'));
  // Each frame asks again for all alarms, so each DN is taken apart once.
  return ways.map((way) => {
    const keys_of = new Map();
    return (dn) => {
      if (!keys_of.has(dn)) keys_of.set(dn, way(dn));
      return keys_of.get(dn);
    };
  });
}
const ways = ways_to_group();

function make_lanes() {
  const from = last() - span;
  const under = parameters().get('under') ?? '';
  const seen = alarms.filter((alarm) => alarm.created <= last() && ended_at(alarm) >= from && (!under || is_below(under, alarm.dn)));
  const key_before = lanes[chosen]?.key;
  for (const way of ways) {
    const by = new Map();
    for (const alarm of seen) {
      const key = way(alarm.dn);
      if (!by.has(key)) by.set(key, { key, alarms: [], worst: 0 });
      const lane = by.get(key);
      lane.alarms.push(alarm);
      lane.worst = Math.max(lane.worst, alarm.rank);
      if (by.size > most_lanes) break;
    }
    lanes = [...by.values()];
    if (lanes.length <= most_lanes) break;
  }
  lanes.sort((a, b) => b.worst - a.worst || (a.key < b.key ? -1 : 1));
  chosen = lanes.findIndex((lane) => lane.key === key_before);
}

// The bars of a lane in rows, so that none covers another; nothing when they do not fit.
function rows_of(lane) {
  const ends = [];
  const placed = [];
  for (const alarm of lane.alarms) {
    // The shortest one is to be seen, too, at the right edge as well.
    const from = Math.min(x_of(alarm.created), label_width() + width() - 3);
    const to = Math.max(x_of(ended_at(alarm)), from + 3);
    let row = ends.findIndex((at) => at <= from);
    if (row < 0) row = ends.length;
    if (row > 2) return null;
    ends[row] = to + 1;
    placed.push({ alarm, from, to, row });
  }
  return { placed, count: ends.length };
}

function draw_bars(ink, lane, index, top) {
  const left = label_width();
  const layout = lane.alarms.length <= width() ? rows_of(lane) : null;
  if (layout) {
    const height = Math.min(24, Math.floor((lane_height - 8) / layout.count));
    for (const { alarm, from, to, row } of layout.placed) {
      const y = top + (lane_height - height * layout.count) / 2 + row * height;
      const steps = alarm.steps.length > 0 ? alarm.steps : [[alarm.created, alarm.rank]];
      steps.forEach(([since, severity], i) => {
        const begin = Math.max(left, i === 0 ? from : x_of(since));
        const until = Math.max(begin + (i === steps.length - 1 ? to - Math.max(from, begin) : 1), i + 1 < steps.length ? x_of(steps[i + 1][0]) : to);
        if (until < left) return;
        // Worse is higher, so that it reads in black and white.
        const full = height - 1;
        const tall = Math.max(3, (full * (severity + 1)) / 6);
        ink.fillStyle = tones[severity];
        ink.fillRect(begin, y + full - tall, Math.max(1.5, Math.min(until, left + width()) - begin), tall);
      });
      if (alarm.number === open_alarm()) {
        ink.strokeStyle = tones.text;
        ink.lineWidth = 2;
        ink.strokeRect(Math.max(left, from) - 1, y - 1, Math.min(to, left + width()) - Math.max(left, from) + 2, height + 1);
      }
      bars.push({ alarm, index, from: from - 2, to: to + 2, top: y - 1, bottom: y + height });
    }
    return;
  }
  // How many and how bad, for each few pixels: the higher the more, in the shares of the severities, the worst on top.
  const size = Math.ceil(width() / bin);
  const levels = severities.length;
  const change = new Int32Array(levels * (size + 1));
  for (const alarm of lane.alarms) {
    const from = Math.max(0, Math.floor((x_of(alarm.created) - left) / bin));
    const to = Math.min(size - 1, Math.floor((x_of(ended_at(alarm)) - left) / bin));
    if (to < 0 || from >= size) continue;
    change[from * levels + alarm.rank] += 1;
    change[(to + 1) * levels + alarm.rank] -= 1;
  }
  const totals = new Int32Array(size);
  for (let i = 0; i < size; ++i) {
    for (let level = 0; level < levels; ++level) {
      if (i > 0) change[i * levels + level] += change[(i - 1) * levels + level];
      totals[i] += change[i * levels + level];
    }
  }
  const most = totals.reduce((a, b) => Math.max(a, b), 1);
  const full = lane_height - 6;
  for (let i = 0; i < size; ++i) {
    if (totals[i] === 0) continue;
    const tall = Math.max(4, (full * Math.log2(totals[i] + 1)) / Math.log2(most + 1));
    let y = top + 3 + full - tall;
    const bottom = y + tall;
    for (let level = levels - 1; level >= 0; --level) {
      const count = change[i * levels + level];
      if (count === 0) continue;
      const part = Math.max(2, (tall * count) / totals[i]);
      ink.fillStyle = tones[level];
      ink.fillRect(left + i * bin, y, bin - 1, Math.max(0, Math.min(part, bottom - y)));
      y += part;
    }
  }
}

let tones = {};
function learn_tones() {
  tones = Object.fromEntries(severities.map((severity, i) => [i, tone(severity)]));
  for (const name of ['text', 'dim', 'line', 'soft', 'chosen', 'raised']) tones[name] = tone(name);
}

const tick_steps = [300, 600, 900, 1800, hour, 2 * hour, 3 * hour, 6 * hour, 12 * hour, 24 * hour, 2 * 24 * hour, 7 * 24 * hour, 14 * 24 * hour, 30 * 24 * hour, 61 * 24 * hour, 91 * 24 * hour];

function draw_axis(ink, height) {
  const left = label_width();
  const wide = span > 3 * 24 * hour ? 84 : 58;
  const step = tick_steps.find((one) => (one / span) * width() >= wide) ?? tick_steps.at(-1);
  const offset = new Date(last() * 1000).getTimezoneOffset() * 60;
  ink.textAlign = 'center';
  for (let at = Math.ceil((last() - span - offset) / step) * step + offset; at <= last(); at += step) {
    const x = Math.round(x_of(at)) + 0.5;
    ink.strokeStyle = tones.soft;
    ink.lineWidth = 1;
    ink.beginPath();
    ink.moveTo(x, axis_height - 5);
    ink.lineTo(x, height);
    ink.stroke();
    const is_day = step >= 24 * hour || clock(at) === '00:00';
    if (x > left + 18 && x < left + width() - 18) {
      ink.fillStyle = tones.dim;
      ink.fillText(is_day ? day(at).slice(span > 200 * 24 * hour ? 0 : 5) : clock(at), x, 15);
    }
  }
  ink.textAlign = 'left';
}

function clipped(ink, text, wide) {
  if (ink.measureText(text).width <= wide) return text;
  let size = text.length;
  while (size > 1 && ink.measureText(`\u2026${text.slice(-size)}`).width > wide) --size;
  return `\u2026${text.slice(-size)}`;
}

function draw() {
  if (!place?.isConnected || box.clientWidth === 0) return;
  learn_tones();
  make_lanes();
  lane_height = Math.min(80, Math.max(26, Math.floor(240 / Math.max(1, lanes.length))));
  const height = axis_height + Math.max(1, lanes.length) * lane_height + 6;
  const scale = devicePixelRatio || 1;
  canvas.width = Math.round(box.clientWidth * scale);
  canvas.height = Math.round(height * scale);
  canvas.style.height = `${height}px`;
  const ink = canvas.getContext('2d');
  ink.scale(scale, scale);
  ink.font = `12px ${getComputedStyle(document.body).fontFamily}`;
  bars = [];
  const left = label_width();
  lanes.forEach((lane, i) => {
    const top = axis_height + i * lane_height;
    if (i === chosen) {
      ink.fillStyle = tones.chosen;
      ink.fillRect(0, top, left + width(), lane_height);
    }
  });
  draw_axis(ink, height);
  lanes.forEach((lane, i) => {
    const top = axis_height + i * lane_height;
    ink.strokeStyle = tones.soft;
    ink.beginPath();
    ink.moveTo(0, top + 0.5);
    ink.lineTo(left + width(), top + 0.5);
    ink.stroke();
    ink.fillStyle = tones.text;
    const count = lane.alarms.length > 1 ? ` ${number(lane.alarms.length)}` : '';
    ink.fillText(clipped(ink, shown(short(lane.key)), left - 18 - ink.measureText(count).width), 8, top + lane_height / 2 + 4);
    ink.fillStyle = tones.dim;
    ink.textAlign = 'right';
    ink.fillText(count, left - 8, top + lane_height / 2 + 4);
    ink.textAlign = 'left';
    ink.save();
    ink.beginPath();
    ink.rect(left, top, width(), lane_height);
    ink.clip();
    draw_bars(ink, lane, i, top);
    ink.restore();
  });
  if (lanes.length === 0) {
    ink.fillStyle = tones.dim;
    ink.fillText('No alarm in this time.', left + 10, axis_height + 17);
  }
  range.textContent = `${exact(last() - span).slice(0, 16)} to ${end === null ? 'now' : exact(last()).slice(0, 16)}`;
  for (const button of tools.querySelectorAll('[data-span]')) button.setAttribute('aria-pressed', String(Number(button.dataset.span) === Math.round(span)));
}

let listed = '';
function draw_list() {
  const of = chosen >= 0 ? lanes[chosen].alarms : lanes.flatMap((lane) => lane.alarms);
  const list = [...of].sort((a, b) => b.created - a.created);
  const print = `${chosen >= 0 ? lanes[chosen].key : ''} ${open_alarm()} ${list.map((one) => `${one.number} ${one.ended} ${one.worst}`).join()}`;
  if (print === listed) return;
  listed = print;
  chosen_list.replaceChildren(h('h2', { id: 'chosen-title' }, chosen >= 0 ? `${short(lanes[chosen].key)}: ${plural(list.length, 'alarm')} in this time` : `${plural(list.length, 'alarm')} in this time`),
    ...long_list(list, 'There are none.'));
}

let waiting = null;
let frame = 0;
function show_again() {
  cancelAnimationFrame(frame);
  frame = requestAnimationFrame(draw);
  clearTimeout(waiting);
  waiting = setTimeout(() => {
    if (!place?.isConnected) return;
    replace(address_with({ span: Math.round(span) === 24 * hour ? '' : Math.round(span), end: end === null ? '' : Math.round(end) }));
    draw_list();
  }, 150);
}

const within_limits = (seconds) => Math.min(366 * 24 * hour, Math.max(hour / 12, seconds));

function set(new_span, new_end) {
  span = within_limits(new_span);
  end = new_end === null || new_end >= now() - 1 ? null : new_end;
  show_again();
}

// Zooms so that the moment stays where it is.
function zoom(factor, around = last()) {
  const wanted = within_limits(span * factor);
  const part = (last() - around) / span;
  set(wanted, end === null && part < 0.05 ? null : around + part * wanted);
}

function at_event(event) {
  const place_of = canvas.getBoundingClientRect();
  return { x: event.clientX - place_of.left, y: event.clientY - place_of.top };
}

const bar_at = (x, y) => bars.filter((bar) => x >= bar.from && x <= bar.to && y >= bar.top && y <= bar.bottom).sort((a, b) => b.alarm.rank - a.alarm.rank)[0];
const lane_at = (y) => Math.floor((y - axis_height) / lane_height);

// What is under the pointer, in words. The list below has the same for who has no pointer.
function point(event) {
  const { x, y } = at_event(event);
  const hit = bar_at(x, y);
  const lane = lanes[lane_at(y)];
  canvas.classList.toggle('hit', Boolean(hit));
  const content = [];
  if (hit) {
    const { alarm } = hit;
    const until = alarm.ended ? `to ${clock_of(alarm.ended)}, ${age(alarm.ended - alarm.created)}` : `active for ${age(now() - alarm.created)}`;
    content.push(h('div', {}, severity_mark(severities[alarm.rank]), h('b', {}, ` ${short(alarm.dn)}`)), h('div', {}, words_of(alarm.name)), h('div', { class: 'dim' }, `${clock_of(alarm.created)} ${until}`));
  } else if (lane && x > label_width() && !bars.some((bar) => bar.index === lane_at(y))) {
    const [from, to] = [moment_of(x - bin / 2), moment_of(x + bin / 2)];
    const here = lane.alarms.filter((alarm) => alarm.created <= to && ended_at(alarm) >= from);
    if (here.length > 0) content.push(h('div', {}, h('b', {}, plural(here.length, 'alarm')), `, ${clock_of(from)}`), h('div', {}, 'the worst: ', severity_mark(severities[Math.max(...here.map((alarm) => alarm.rank))])));
  }
  tip.hidden = content.length === 0;
  tip.replaceChildren(...content);
  tip.style.left = `${Math.max(0, Math.min(x + 14, box.clientWidth - tip.offsetWidth - 4))}px`;
  tip.style.top = `${y + 18}px`;
}

function hide_tip() {
  tip.hidden = true;
}

function pick(event) {
  const { x, y } = at_event(event);
  const hit = bar_at(x, y);
  const lane = lane_at(y);
  if (hit) {
    go(address_with({ open: hit.alarm.number }));
    return;
  }
  chosen = lane >= 0 && lane < lanes.length && lane !== chosen ? lane : -1;
  // In a lane of many the click shows the time around it.
  if (chosen >= 0 && x > label_width() && !bars.some((bar) => bar.index === chosen) && span > hour) zoom(0.25, moment_of(x));
  draw();
  draw_list();
}

const keys = {
  '+': () => zoom(0.5),
  '=': () => zoom(0.5),
  '-': () => zoom(2),
  ArrowLeft: () => set(span, last() - span / 4),
  ArrowRight: () => set(span, last() + span / 4),
  ArrowDown: () => choose(Math.min(lanes.length - 1, chosen + 1)),
  ArrowUp: () => choose(Math.max(-1, chosen - 1)),
  Home: () => set(span, null),
  Enter: () => chosen_list.querySelector('a')?.focus(),
};

function choose(lane) {
  chosen = lane;
  draw();
  draw_list();
  say(chosen_list.querySelector('h2').textContent);
}

function read_address() {
  const at = parameters();
  span = within_limits(Number(at.get('span')) || 24 * hour);
  const moment = Number(at.get('end'));
  end = moment > 0 && moment <= now() ? moment : null;
}

async function load() {
  try {
    alarms = await all_alarms();
    part.textContent = part_words(alarms);
    part.hidden = alarms.is_whole;
    draw();
    draw_list();
  } catch (error) {
    if (alarms.length === 0) failed(chosen_list, error);
  }
}

let loading = 0;
export default {
  title: 'Timeline',
  show(where) {
    const button = (text, label, call) => h('button', { type: 'button', 'aria-label': label, onclick: call }, text);
    range = h('span', { class: 'range' });
    tools = h('div', { class: 'time-tools', role: 'group', 'aria-label': 'Time' },
      spans.map(([seconds, word]) => h('button', { type: 'button', 'data-span': seconds, onclick: () => set(seconds, end) }, word)),
      button('\u2212', 'Show more time', () => zoom(2)), button('+', 'Show less time', () => zoom(0.5)),
      button('\u2039', 'Earlier', () => set(span, last() - span / 2)), button('\u203a', 'Later', () => set(span, last() + span / 2)),
      button('now', 'Up to now', () => set(span, null)), range);
    canvas = h('canvas', { 'aria-hidden': 'true' });
    tip = h('div', { class: 'tip', 'aria-hidden': 'true', hidden: true });
    box = h('div', { class: 'lanes', id: 'lanes', role: 'group', tabindex: 0, 'aria-label': 'Timeline: + and \u2212 zoom, left and right move in time, up and down choose an object; its alarms are listed below' }, canvas, tip);
    chosen_list = h('section', { 'aria-labelledby': 'chosen-title' });
    const legend = h('p', { class: 'legend' }, severities.slice(1).reverse().map((severity) => severity_mark(severity)), h('span', {}, 'The higher a bar, the worse; where alarms are too many for bars, the more.'));
    part = h('p', { class: 'dim', hidden: true });
    place = h('div', {}, tools, box, legend, part, chosen_list);
    where.append(place);
    listed = '';
    lanes = [];
    chosen = -1;
    read_address();
    box.addEventListener('keydown', (event) => {
      if (event.target !== box || event.ctrlKey || event.metaKey || event.altKey || !keys[event.key]) return;
      event.preventDefault();
      event.stopPropagation();
      keys[event.key]();
    });
    box.addEventListener('wheel', (event) => {
      event.preventDefault();
      hide_tip();
      if (Math.abs(event.deltaX) > Math.abs(event.deltaY)) set(span, last() + (event.deltaX / width()) * span);
      else zoom(1.2 ** (event.deltaY / 100), moment_of(at_event(event).x));
    }, { passive: false });
    let drag = null;
    canvas.addEventListener('pointerdown', (event) => {
      if (event.button !== 0) return;
      drag = { x: event.clientX, end: last(), moved: false };
      canvas.setPointerCapture(event.pointerId);
    });
    canvas.addEventListener('pointermove', (event) => {
      if (!drag) return point(event);
      drag.moved ||= Math.abs(event.clientX - drag.x) > 4;
      hide_tip();
      if (drag.moved) set(span, drag.end - ((event.clientX - drag.x) / width()) * span);
    });
    canvas.addEventListener('pointerup', (event) => {
      const was = drag;
      drag = null;
      if (was && !was.moved) pick(event);
    });
    canvas.addEventListener('pointercancel', () => { drag = null; });
    canvas.addEventListener('pointerleave', hide_tip);
    new ResizeObserver(() => requestAnimationFrame(draw)).observe(box);
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', draw);
    draw();
    load();
  },
  // All alarms are many: they are asked for once in a while.
  update() {
    loading ||= setTimeout(() => {
      loading = 0;
      load();
    }, 1000);
  },
  moved() {
    read_address();
    draw();
    draw_list();
  },
  leave() {
    clearTimeout(loading);
    loading = 0;
    clearTimeout(waiting);
    place = null;
  },
};
