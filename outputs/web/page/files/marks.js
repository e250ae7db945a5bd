// Severity as a shape, a word and a colour.
import { h } from './text.js';

export const severities = ['cleared', 'indeterminate', 'warning', 'minor', 'major', 'critical'];
export const rank = (severity) => severities.indexOf(severity);

// The same shapes as in page/elements.cpp, which draws the page before its scripts run.
const shapes = {
  critical: () => h('path', { d: 'M8 0 16 8 8 16 0 8z' }),
  major: () => h('path', { d: 'M8 1 16 15H0z' }),
  minor: () => h('circle', { cx: 8, cy: 8, r: 7 }),
  warning: () => h('circle', { class: 'open', cx: 8, cy: 8, r: 6 }),
  indeterminate: () => h('path', { class: 'open', d: 'M2 2H14V14H2z' }),
  cleared: () => h('path', { class: 'open', d: 'M2 8 6.5 13 14 3' }),
};

export function mark(severity) {
  return h('svg', { class: 'mark', viewBox: '0 0 16 16', 'aria-hidden': 'true' }, (shapes[severity] ?? shapes.indeterminate)());
}

export function severity_mark(severity, word = severity) {
  return h('span', { class: `sev s-${severity}` }, mark(severity), word);
}

export function tone(severity) {
  return getComputedStyle(document.documentElement).getPropertyValue(`--${severity}`).trim();
}
