// Which active alarms a reader wants, in the words of the address: the same as in page/choice.cpp.
import { rank } from './marks.js';
import { now } from './text.js';

export const severity_options = [['', 'any severity'], ['critical', 'critical'], ['major', 'major'], ['minor', 'minor'],
  ['warning', 'warning'], ['indeterminate', 'indeterminate'], ['major-up', 'major and worse'], ['minor-up', 'minor and worse'],
  ['warning-up', 'warning and worse']];
export const state_options = [['', 'all but silenced'], ['new', 'new'], ['acknowledged', 'acknowledged'], ['closed', 'closed'],
  ['chattering', 'chattering'], ['stale', 'stale'], ['shelved', 'shelved'], ['out-of-service', 'out of service'], ['all', 'all, silenced too']];
export const order_options = [['', 'worst first'], ['newest', 'newest first'], ['oldest', 'oldest first'], ['object', 'by object']];

export const is_silenced = (row) => row.out_of_service === 1 || row.operator_state === 'shelved';
export const is_new = (row) => !is_silenced(row) && (row.operator_state === 'none' || row.operator_state === 'unshelved');
export function is_below(under, dn) {
  const root = under.replace(/\/+$/, '');
  return dn === root || dn.startsWith(`${root}/`);
}

// Without a prototype, so that no word of an address is found but these.
const states = {
  __proto__: null,
  all: () => true,
  shelved: (row) => row.operator_state === 'shelved',
  'out-of-service': (row) => row.out_of_service === 1,
  new: is_new,
  acknowledged: (row) => !is_silenced(row) && row.operator_state === 'acknowledged',
  closed: (row) => !is_silenced(row) && row.operator_state === 'closed',
  chattering: (row) => !is_silenced(row) && row.chattering > 0,
  // Silenced ones, too: what the statistics count.
  stale: (row) => now() - row.updated > 86400,
};

const newest = (a, b) => b.created - a.created || b.number - a.number;
const orders = {
  __proto__: null,
  newest,
  oldest: (a, b) => a.created - b.created || a.number - b.number,
  object: (a, b) => (a.dn < b.dn ? -1 : a.dn > b.dn ? 1 : newest(a, b)),
};
const worst = (a, b) => b.rank - a.rank || newest(a, b);

// Once for each row, so that a filter of many rows is quick.
export function prepare(row) {
  row.rank = rank(row.severity);
  row.find = `${row.fault_dn}\n${row.name}\n${row.descr}\n${row.sensor}\n${row.person}`.toLowerCase();
  return row;
}

export function select(rows, parameters) {
  const text = (parameters.get('text') ?? '').toLowerCase();
  const severity = parameters.get('severity') ?? '';
  const least = rank(severity.replace(/-up$/, ''));
  const has_severity = least < 1 ? () => true : severity.endsWith('-up') ? (row) => row.rank >= least : (row) => row.rank === least;
  const has_state = states[parameters.get('state')] ?? ((row) => !is_silenced(row));
  const under = parameters.get('under') ?? '';
  const has_object = under === '' ? () => true : (row) => is_below(under, row.dn) || row.fault_dn === under;
  return rows.filter((row) => has_severity(row) && has_state(row) && has_object(row) && row.find.includes(text))
    .sort(orders[parameters.get('order')] ?? worst);
}
