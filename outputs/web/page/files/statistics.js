// The measures of ISA-18.2 with their limits, the worst offenders and the last day.
import { address } from './address.js';
import { severities, severity_mark } from './marks.js';
import { get } from './server.js';
import { age, ago_words, clock, code_text, exact, h, now, number, number_of, plural, seconds_of, short, words_of } from './text.js';
import { all_alarms, part_words } from './lists.js';
import { failed } from './page.js';

// Values beyond the limit are drawn in colour. The scale ends a little beyond both.
function gauge(value, limit, unit) {
  const most = Math.max(value, limit || 1) * 1.25;
  const x = (of) => (300 * of) / most;
  return h('svg', { class: 'chart gauge', viewBox: '0 0 300 26', role: 'img', 'aria-label': `${number_text(value)} ${unit}, the limit is ${number_text(limit)}` },
    h('rect', { class: 'track', x: 0, y: 2, width: 300, height: 8 }), h('rect', { class: 'value', x: 0, y: 2, width: Math.max(value > 0 ? 2 : 0, x(value)), height: 8 }),
    h('line', { class: 'limit', x1: Math.max(1, x(limit)), x2: Math.max(1, x(limit)), y1: 0, y2: 13 }),
    h('text', { x: Math.min(262, Math.max(0, x(limit) - (limit > 0 ? 14 : 0))), y: 25 }, `limit ${number_text(limit)}`));
}

const number_text = (value) => (value >= 100 || Number.isInteger(value) ? number(value) : value.toFixed(1));

function card(title, value, unit, limit, href, note, severity) {
  const is_beyond = value > limit;
  return h('section', { class: `card${is_beyond ? ` beyond s-${severity}` : ''}` }, h('h2', {}, title),
    h('p', { class: 'figure' }, h('a', { href }, number_text(value)), h('small', {}, ` ${unit}`)), gauge(value, limit, unit),
    h('p', { class: 'dim' }, is_beyond ? h('b', {}, 'Above the limit. ') : 'Within the limit. ', note));
}

const history_of = (all) => address('history', all);

function draw(place, stats, alarms) {
  const at = seconds_of(stats.at);
  const since = seconds_of(stats.since);
  const periods = Math.max(1, (at - since) / 600);
  const rate = stats.new.whole_time / periods;
  const share = stats.worst_offenders.reduce((sum, one) => sum + one.share_permille, 0) / 10;
  const flood = stats.floods.at(-1);
  const hours = Array.from({ length: 24 }, (_, i) => {
    const begin = Math.floor(now() / 3600) * 3600 - (23 - i) * 3600;
    return { begin, count: alarms.filter((one) => one.created >= begin && one.created < begin + 3600).length };
  });
  const most = Math.max(1, ...hours.map((one) => one.count));
  const worst = Math.max(1, ...stats.worst_offenders.map((one) => one.alarms));
  place.replaceChildren(
    h('p', { class: 'dim' }, `Since ${exact(since)}: ${plural(stats.new.whole_time, 'new alarm')} in ${age(at - since)}. The limits are those of ISA-18.2 and EEMUA 191.`),
    h('div', { class: 'cards' },
      card('Alarm rate', rate, 'new alarms in 10 min', 1, history_of({}), `${number(stats.new.last_10_minutes)} in the last 10 minutes, ${number(stats.new.last_hour)} in the last hour.`, rate > 2 ? 'major' : 'minor'),
      card('Floods', stats.floods.length, stats.floods.length === 1 ? 'time with more than 10 in 10 min' : 'times with more than 10 in 10 min', 0,
        flood ? history_of({ since: seconds_of(flood.began), until: flood.ended ? seconds_of(flood.ended) : Math.ceil(at) }) : history_of({}),
        flood ? `The last one began ${exact(seconds_of(flood.began))} with ${plural(flood.alarms, 'alarm')}.` : 'There was none.', flood && !flood.ended ? 'major' : 'minor'),
      card('Chattering', stats.chattering.length, stats.chattering.length === 1 ? 'fault that comes again and again' : 'faults that come again and again', 0, stats.chattering.length > 0 ? '#chattering' : '/?state=chattering',
        stats.chattering[0] ? `The worst: ${short(stats.chattering[0].dn)}, ${plural(stats.chattering[0].raised_again, 'time')} again in 10 minutes.` : 'There is none.', 'minor'),
      card('Stale', stats.stale.length, stats.stale.length === 1 ? 'alarm without a report for a day' : 'alarms without a report for a day', 5, '/?state=stale&order=oldest',
        stats.stale[0] ? `The oldest report: ${short(stats.stale[0].dn)}, ${age(at - seconds_of(stats.stale[0].reported))} ago.` : 'There is none.', 'minor')),
    h('h2', {}, 'The last day, by hour'), ...(alarms.is_whole ? [] : [h('p', { class: 'dim' }, part_words(alarms))]),
    h('ol', { class: 'heat', id: 'heat' }, hours.map((one) => h('li', {},
      h('a', { class: `h${one.count === 0 ? 0 : Math.ceil((4 * one.count) / most)}`, href: history_of({ since: one.begin, until: one.begin + 3600 }), 'aria-label': `${clock(one.begin)}: ${plural(one.count, 'new alarm')}`, title: `${exact(one.begin)}: ${plural(one.count, 'new alarm')}` }, number(one.count)),
      h('small', { 'aria-hidden': 'true' }, clock(one.begin).slice(0, 2))))),
    h('h2', {}, `The worst offenders: ${share.toFixed(1)} % of all new alarms`, h('span', { class: 'dim' }, ' (limit 5 % for the ten worst)')),
    stats.worst_offenders.length === 0 ? h('p', { class: 'dim' }, 'There were no alarms.') : h('div', { class: 'scroll', tabindex: 0, role: 'region', 'aria-label': 'The worst offenders' }, h('table', { id: 'offenders' },
      h('thead', {}, h('tr', {}, h('th', { class: 'num' }, 'Alarms'), h('th', {}, h('span', { class: 'vh' }, 'Bar')), h('th', { class: 'num' }, 'Share'), h('th', {}, 'Object'), h('th', {}, 'Fault'))),
      h('tbody', {}, stats.worst_offenders.map((one) => h('tr', {},
        h('td', { class: 'num' }, h('a', { href: history_of({ under: one.dn, code: one.code }) }, number(one.alarms))), h('td', {}, bar(one.alarms / worst)),
        h('td', { class: 'num' }, `${(one.share_permille / 10).toFixed(1)} %`), h('td', { title: one.dn }, short(one.dn)), h('td', {}, `${code_text(one.code)} ${words_of(one.name)}`)))))),
    ...(stats.chattering.length > 0 ? [h('h2', { id: 'chattering' }, 'Chattering faults'), h('ul', { class: 'plain' }, stats.chattering.map((one) => h('li', {},
      h('a', { href: history_of({ under: one.dn, code: one.code }) }, `${short(one.dn)} ${code_text(one.code)}`), `: ${plural(one.raised_again, 'time')} again in 10 minutes, ${plural(one.raises, 'raise')} in all, the last `, ago_words(seconds_of(one.last)))))] : []),
    h('h2', {}, 'How quickly'),
    h('dl', {}, h('dt', {}, 'Acknowledged'), h('dd', {}, mean(stats.mean_time_to_acknowledge)), h('dt', {}, 'Over'), h('dd', {}, mean(stats.mean_time_to_clear))),
    h('h2', {}, 'Active now'),
    h('dl', {}, severities.slice(1).reverse().map((severity) => [h('dt', {}, severity_mark(severity)), h('dd', {}, h('a', { href: `/?state=all&severity=${severity}` }, number(stats.active.severity[severity])))])),
    ...(stats.stale.length > 0 ? [h('h2', {}, 'Stale alarms'), h('ul', { class: 'plain' }, stats.stale.slice(0, 10).map((one) => h('li', {}, severity_mark(one.severity), ' ',
      h('a', { href: address('', { open: number_of(one.alarm), state: 'all' }) }, short(one.dn)), ` ${code_text(one.code)}, reported `, ago_words(seconds_of(one.reported)))))] : []));
}

function bar(part) {
  const element = h('span', { class: 'bar' });
  element.style.width = `${Math.round(160 * part)}px`;
  return element;
}

const mean = (of) => (of.alarms === 0 ? 'no alarm yet' : `${age(of.seconds)} on average, of ${plural(of.alarms, 'alarm')}`);

let place = null;
let drawn = null;
let loading = 0;

async function load() {
  const into = place;
  try {
    const [stats, alarms] = await Promise.all([get('/api/v1/stats'), all_alarms()]);
    if (into !== place || drawn === stats) return;
    if (drawn && into.contains(document.activeElement)) return;  // the focus is to stay where it is
    drawn = stats;
    draw(into, stats, alarms);
  } catch (error) {
    if (into === place && drawn === null) failed(into, error);
  }
}

export default {
  title: 'Statistics',
  show(where) {
    place = h('div', {});
    drawn = null;
    where.append(place);
    load();
  },
  update() {
    loading ||= setTimeout(() => {
      loading = 0;
      load();
    }, 2000);
  },
  leave() {
    clearTimeout(loading);
    loading = 0;
    place = null;
  },
};
