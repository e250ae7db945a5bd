// The address is the view: what is shown, how it is filtered and which alarm is open.

export const view = () => {
  const first = location.pathname.split('/')[1];
  return first === '' || first === 'alarm' ? 'alarms' : first;
};

export const parameters = () => new URLSearchParams(location.search);

// The number of the alarm that is open; 0: none.
export function open_alarm() {
  const path = location.pathname.match(/^\/alarm\/(\d+)$/);
  return Number(path ? path[1] : parameters().get('open') ?? 0) || 0;
}

// The address of the same view with other parameters; an empty one is left out.
export function address_with(changes) {
  const all = parameters();
  if (location.pathname.startsWith('/alarm/')) all.set('open', open_alarm());
  for (const [name, value] of Object.entries(changes)) {
    if (value === '' || value === null || value === undefined || value === 0) all.delete(name);
    else all.set(name, value);
  }
  return address(view() === 'alarms' ? '' : view(), all);
}

export function address(path, all = {}) {
  const text = new URLSearchParams(all).toString();
  return `/${path}${text ? `?${text}` : ''}`;
}

let changed = () => {};
export const on_change = (call) => { changed = call; };

export function go(to) {
  if (to !== location.pathname + location.search) history.pushState(null, '', to);
  changed();
}

// For what changes with every key or pixel: there is to be one step back, not many.
export function replace(to) {
  history.replaceState(null, '', to);
}

addEventListener('popstate', () => changed());

addEventListener('click', (event) => {
  const link = event.target.closest?.('a[href]');
  if (!link || event.defaultPrevented || event.button !== 0 || event.ctrlKey || event.metaKey || event.shiftKey || event.altKey) return;
  const to = new URL(link.href);
  if (to.origin !== location.origin || to.hash || /^\/(api|page|redfish|restconf|metrics|login|logout)(\/|$)/.test(to.pathname)) return;
  event.preventDefault();
  go(to.pathname + to.search);
});
