// How the engine, its ledger and its outputs are.
import { get } from './server.js';
import { ago_words, h, number, seconds_of } from './text.js';
import { failed } from './page.js';

let place = null;
let timer = 0;
let drawn = '';

const bytes = (count) => (count >= 1 << 20 ? `${(count / (1 << 20)).toFixed(1)} MiB` : `${number(count / 1024)} KiB`);
const verdict = (is_fine, words) => h('span', { class: is_fine ? 'fine' : 'wrong' }, words);

// Within which time 99 of 100 took place, of a histogram.
function most_within({ bounds_us, counts }) {
  const all = counts.reduce((sum, one) => sum + one, 0);
  if (all === 0) return null;
  let sum = 0;
  const at = counts.findIndex((one) => (sum += one) >= 0.99 * all);
  const time = (us) => (us >= 1000000 ? `${us / 1000000} s` : `${us / 1000} ms`);
  return at < bounds_us.length ? `99 % within ${time(bounds_us[at])}` : verdict(false, `some took more than ${time(bounds_us.at(-1))}`);
}

function lines(...pairs) {
  return h('dl', {}, pairs.filter(([, value]) => value !== undefined && value !== null).map(([name, ...value]) => [h('dt', {}, name), h('dd', {}, value)]));
}

// How an output goes: it says so every few seconds.
function output_state(one) {
  if (one.silent_s === undefined) return verdict(false, 'not heard yet');
  if (one.silent_s > 30) return verdict(false, 'not heard any more');
  if (one.connected === undefined) return '';
  return one.connected ? verdict(true, 'connected') : h('span', { class: 'wrong', title: one.last_error }, 'not connected');
}

function outputs(publishers) {
  if (publishers.length === 0) return h('p', { class: 'dim' }, 'No output has told how far it has come.');
  return h('div', { class: 'scroll', tabindex: 0, role: 'region', 'aria-label': 'Outputs' }, h('table', {}, h('thead', {}, h('tr', {}, h('th', {}, 'Output'), h('th', { class: 'num' }, 'Behind'), h('th', { class: 'num' }, 'Through change'), h('th', {}, 'Told'), h('th', {}, 'State'), h('th', {}, 'Peer'))),
    h('tbody', {}, publishers.map((one) => h('tr', {}, h('td', {}, one.publisher), h('td', { class: 'num' }, one.behind > 1000 ? verdict(false, number(one.behind)) : number(one.behind)),
      h('td', { class: 'num' }, number(one.through)), h('td', {}, one.updated ? ago_words(seconds_of(one.updated)) : ''), h('td', {}, output_state(one)), h('td', {}, one.peer ?? ''))))));
}

function draw(status) {
  const engine = status.engine;
  const ledger = status.ledger ?? {};
  place.replaceChildren(h('div', { class: 'cards' },
    h('section', { class: 'card' }, h('h2', {}, 'Engine'), h('p', { class: 'figure' }, engine ? verdict(!engine.problem, engine.problem ? 'in trouble' : 'running') : verdict(false, 'not running')),
      !engine && status.silence && h('p', {}, status.silence), engine?.problem && h('p', {}, engine.problem),
      engine && lines(['Last input', number(engine.last_seq)], ['Not durable yet', number(engine.unwritten)], ['Active faults', number(engine.active_faults)],
        ['Reports', `${number(engine.reports)} of at most ${number(engine.max_active)}`], ['Not tracked', engine.not_tracked > 0 ? verdict(false, number(engine.not_tracked)) : '0'],
        ['Bad lines', number(engine.bad_lines)], ['Batches', most_within(engine.batch_times)], ['Writes to disk', most_within(engine.sync_times)], ['Chattering faults', number(engine.chattering)], ['Clients', `${number(engine.clients)}${engine.waiting_clients > 0 ? `, ${number(engine.waiting_clients)} wait` : ''}`],
        ['Library', engine.library_version], ['Build', engine.build_id])),
    h('section', { class: 'card' }, h('h2', {}, 'Ledger'), h('p', { class: 'figure' }, ledger.problem ? verdict(false, 'cannot be read') : engine?.damage_found > 0 ? verdict(false, 'damaged') : verdict(true, 'in order')),
      ledger.problem && h('p', {}, ledger.problem),
      lines(['Change', number(ledger.change ?? 0)], ['Oldest change', engine && number(engine.oldest_number)], ['File', engine && bytes(engine.file_bytes)], ['Log', engine && bytes(engine.log_bytes)],
        ['Limit', engine && (engine.over_limit ? verdict(false, 'what must be kept takes more than allowed') : 'kept')], ['Log held', engine?.log_held_by_reader ? verdict(false, 'by a reader') : null],
        ['Checked', engine && `${engine.checked_percent} %`], ['Damage found', engine && (engine.damage_found > 0 ? verdict(false, number(engine.damage_found)) : 'none')], ['Path', ledger.path]),
      status.left_out && h('p', {}, verdict(false, 'Damaged rows are left out:')), status.left_out && h('ul', { class: 'plain', id: 'left-out' }, status.left_out.map((one) => h('li', {}, one))))),
  h('h2', {}, 'Outputs'), outputs(engine?.publishers ?? []));
}

async function load() {
  const into = place;
  try {
    const status = await get('/api/v1/status');
    const print = JSON.stringify(status);
    if (into !== place || print === drawn) return;
    drawn = print;
    draw(status);
  } catch (error) {
    if (into === place) {
      drawn = '';
      failed(into, error);
    }
  }
}

export default {
  title: 'Health',
  show(where) {
    place = h('div', {});
    drawn = '';
    where.append(place);
    load();
    timer = setInterval(load, 5000);
  },
  leave() {
    clearInterval(timer);
    place = null;
  },
};
