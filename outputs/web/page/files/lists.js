// Lists of alarms that are over, and of objects that are out of service.
import { address_with, open_alarm, parameters } from './address.js';
import { ask_and_do, alarms_words, until_words } from './acts.js';
import { is_below } from './choice.js';
import { rank, severity_mark } from './marks.js';
import { get, may_act, objects_of } from './server.js';
import { age, ago, code_text, h, number, number_of, plural, seconds_of, short, words_of } from './text.js';
import { failed } from './page.js';

// All alarms of the ledger, as the timeline, the objects and the statistics need them; decoded once for each answer.
let last = null;
let decoded = null;
export async function all_alarms() {
  const answer = await get('/page/history');
  if (answer !== last) {
    last = answer;
    decoded = objects_of(answer);
    for (const one of decoded) one.rank = rank(one.worst);
    decoded.is_whole = answer.is_whole;
  }
  return decoded;
}

// "" when these are all alarms of the ledger.
export const part_words = (alarms) => (alarms.is_whole ? '' : `The page looks at the latest ${number(alarms.length)} alarms of the ledger.`);

function over_row(alarm) {
  const link = h('a', { class: `row s-${alarm.worst}${alarm.number === open_alarm() ? ' chosen' : ''}`, href: address_with({ open: alarm.number }), 'data-number': alarm.number },
    severity_mark(alarm.worst), h('span', { class: 'obj', title: alarm.dn }, short(alarm.dn)), h('span', { class: 'age' }, ago(alarm.created)),
    h('span', { class: 'state' }, alarm.ended ? 'over' : 'active'), h('span', { class: 'descr' }, `${code_text(alarm.code)} ${words_of(alarm.name)}`),
    alarm.ended > 0 && h('span', { class: 'words' }, `lasted ${age(alarm.ended - alarm.created)}`));
  return h('li', {}, link);
}

const step = 100;
// Rows as the reader comes to them.
export function long_list(alarms, none) {
  const list = h('ol', { class: 'alarms' });
  const more = h('button', { type: 'button' });
  const end = h('p', { class: 'pages' }, more);
  let drawn = 0;
  const draw = () => {
    list.append(...alarms.slice(drawn, drawn + step).map(over_row));
    drawn = Math.min(alarms.length, drawn + step);
    more.textContent = `Show more: ${number(alarms.length - drawn)} below`;
    end.hidden = drawn === alarms.length;
  };
  more.addEventListener('click', draw);
  draw();
  return alarms.length > 0 ? [list, end] : [h('p', { class: 'quiet' }, none)];
}

// Draws what was fetched, but only when it is another than before, or the reader may act now and might not before, or the
// other way round: nothing is to move under the reader's hand.
function fetched(title, fetch, make) {
  let place = null;
  let drawn = null;
  const draw = async () => {
    const into = place;
    try {
      const answer = await fetch();
      const may = may_act();
      if (into !== place || (answer === drawn?.answer && may === drawn.may)) return;
      drawn = { answer, may };
      const inner = make(answer);
      into.replaceChildren(...inner);
    } catch (error) {
      if (drawn === null) failed(into, error);
    }
  };
  return {
    title,
    show(where) {
      place = h('div', {});
      drawn = null;
      where.append(place);
      draw();
    },
    update: draw,
    moved() {
      drawn = null;
      draw();
    },
    leave() {
      place = null;
    },
  };
}

export const missed = fetched('Missed', () => get('/api/v1/missed?limit=1000'), (answer) => {
  const alarms = answer.alarms.map((one) => ({ number: number_of(one.alarm), dn: one.dn, code: one.steps.at(-1)?.code ?? 0, name: one.steps.at(-1)?.name ?? '',
    worst: one.worst, created: seconds_of(one.created), ended: seconds_of(one.ended) })).reverse();
  return [h('p', {}, 'Alarms that came and went, and that nobody acknowledged. ', h('a', { href: '/history' }, 'All alarms that there were'),
    answer.missed > alarms.length && `. These are the latest ${number(alarms.length)} of ${number(answer.missed)}.`),
    ...(may_act() && answer.missed > 0 ? [h('div', { class: 'acts' }, h('button', { type: 'button', onclick: () =>
      ask_and_do('acknowledge_missed', h('p', {}, `${alarms_words(answer.missed)} came and went while nobody looked.`), { through: answer.through, ledger_id: answer.ledger_id }) },
    `Acknowledge ${answer.missed === 1 ? 'it' : `all ${number(answer.missed)}`}`))] : []),
    ...long_list(alarms, 'No alarm was missed.')];
});

// ?under=, ?code=, ?since= and ?until= choose. An alarm counts for the fault that it began with, as in the statistics.
export const history_view = fetched('History', all_alarms, (alarms) => {
  const at = parameters();
  const under = at.get('under') ?? '';
  const code = at.get('code') ?? '';
  const since = Number(at.get('since') ?? 0);
  const until = Number(at.get('until') ?? Infinity);
  const list = alarms.filter((one) => (!under || is_below(under, one.dn)) && (!code || one.first_code === Number(code)) && one.created >= since && one.created < until).reverse();
  return [h('p', {}, `${plural(list.length, 'alarm')}${under ? ` of ${short(under)}` : ''}${code ? ` that began with ${code_text(code)}` : ''}, the latest first. `,
    part_words(alarms)), ...long_list(list, 'There are none.')];
});

export const maintenance = fetched('Maintenance', () => get('/api/v1/maintenance'), (answer) => {
  const list = answer.maintenance;
  if (list.length === 0) return [h('p', { class: 'quiet' }, 'No object is out of service.')];
  return [h('p', {}, 'Objects that are out of service, with all below them.'), h('ul', { class: 'plain' }, list.map((one) =>
    h('li', { class: 'card' }, h('a', { href: `/?state=all&under=${encodeURIComponent(one.dn)}` }, short(one.dn)), ` ${until_words(seconds_of(one.until))}`,
      one.person && `, by ${one.on_behalf_of ?? one.person}`, one.comment && [': ', h('q', {}, one.comment)],
      may_act() && h('div', { class: 'acts' }, h('button', { type: 'button', onclick: () => ask_and_do('end_maintenance', h('p', {}, one.dn), { dn: one.dn }) }, 'Back in service')))))];
});
