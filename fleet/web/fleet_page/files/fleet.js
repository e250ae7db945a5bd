// Brings the page of a fleet to life: it asks every two seconds what has changed, and draws that.
import { offer_actions, restore_boxes } from './fleet_acts.js';
import { draw_grid } from './grid.js';
import { learn_who, log_out, me } from './fleet_server.js';
import { clock_of, exact, h, note_clock, now, seconds_of, tick, zone } from './text.js';

const every = 2000;
const patience = 15000;
const at = (id) => document.getElementById(id);
let not_live_since = null;

// The view as the server draws it now; nothing when it is as it was. The browser parses it, and runs nothing of it.
let tag = null;
function drawn_anew() {
  return new Promise((resolve, reject) => {
    const ask = new XMLHttpRequest();
    ask.open('GET', location.pathname + location.search);
    ask.setRequestHeader('Accept', 'text/html');
    ask.responseType = 'document';
    ask.timeout = patience;
    ask.onload = () => {
      note_clock(ask.getResponseHeader('Date'));
      if (ask.status !== 200) {
        reject(new Error(ask.response?.getElementById('problem')?.textContent || `The server answered with status ${ask.status}.`));
        return;
      }
      const before = tag;
      tag = ask.getResponseHeader('ETag');
      resolve(tag && tag === before ? null : ask.response);
    };
    ask.onerror = () => reject(new Error('The server does not answer.'));
    ask.ontimeout = ask.onerror;
    ask.send();
  });
}

// Times in the reader's zone, and ages that go on.
function tell_times(of) {
  for (const time of of.querySelectorAll('time')) {
    const moment = seconds_of(time.getAttribute('datetime'));
    if (!Number.isFinite(moment)) continue;
    if (time.title) {
      time.title = exact(moment);
      time.dataset.at = moment;
      const hidden = time.querySelector('.vh');
      if (hidden) hidden.textContent = ` ago, ${exact(moment)}`;
    } else {
      time.textContent = exact(moment);
    }
  }
}

// Puts what is new in place of what was there. The reader's place, focus and ticks stay.
function show(fresh) {
  const focused = document.activeElement;
  const way = focused?.id ? `#${CSS.escape(focused.id)}` : focused?.getAttribute?.('href') && `a[href="${CSS.escape(focused.getAttribute('href'))}"]`;
  for (const id of ['counts', 'tabs']) {
    const [old, now_] = [at(id), fresh.getElementById(id)];
    if (old && now_) old.replaceWith(document.adoptNode(now_));
  }
  for (const old of document.querySelectorAll('[data-live]')) {
    const now_ = fresh.querySelector(`[data-live="${old.dataset.live}"]`);
    if (!now_) continue;
    old.replaceChildren(...now_.childNodes);
  }
  tell_times(document);
  offer_actions();
  restore_boxes();
  if (way && document.activeElement === document.body) document.querySelector(way)?.focus({ preventScroll: true });
}

function tell_live(problem) {
  if (!problem) not_live_since = null;
  else not_live_since ??= now();
  document.body.classList.toggle('stale', Boolean(problem));
  const banner = at('banner');
  banner.hidden = !problem;
  if (problem) banner.replaceChildren(h('span', {}, `Not live since ${clock_of(not_live_since)}: ${problem}`));
  const live = at('live');
  if (!live) return;
  live.classList.toggle('on', !problem);
  live.replaceChildren(h('span', { class: 'dot' }), problem ? `not live since ${clock_of(not_live_since)}` : h('b', {}, 'live'));
}

async function refresh() {
  if (document.hidden) return;
  try {
    const fresh = await drawn_anew();
    if (fresh) show(fresh);
    if (at('grid')) await draw_grid(at('grid'));
    tell_live('');
  } catch (error) {
    tag = null;
    tell_live(error.message);
  }
}

let is_refreshing = false;
export async function refresh_now() {
  if (is_refreshing) return;
  is_refreshing = true;
  await refresh();
  is_refreshing = false;
}

document.body.classList.add('scripted');
if (at('zone')) at('zone').textContent = `Times are those of ${zone()}.`;
for (const choice of document.querySelectorAll('.filter select')) choice.addEventListener('change', () => choice.form.requestSubmit());
document.addEventListener('visibilitychange', () => { if (!document.hidden) refresh_now(); });
document.addEventListener('keydown', (event) => {
  if (event.key !== '/' || event.ctrlKey || event.metaKey || event.target.closest?.('input, textarea, select')) return;
  const field = document.querySelector('.filter [name="text"]');
  if (!field) return;
  event.preventDefault();
  field.focus();
});
tell_times(document);
learn_who().then(() => {
  if (me.csrf) at('me')?.append(h('button', { type: 'button', onclick: () => log_out().finally(() => location.assign('/')) }, 'Log out'));
  offer_actions();
  return refresh_now();
});
setInterval(refresh_now, every);
setInterval(tick, 1000);
