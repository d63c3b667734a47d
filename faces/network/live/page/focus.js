// The focus aid: how sharp the stars are, from frame to frame and from place to place of the motor.
import { $, ask, attempt, cameraPath, on, put, send, sleep } from './api.js';
import { drawCurve } from './charts.js';
import { draw, view, visiblePart } from './view.js';

const kMostPoints = 150;
let curve = []; // [time, HFR]
let places = new Map(); // motor position: HFR
let best = null;
let position = null;
let number = 0;
let count = 0;

const text = (value) => (value === null || value === undefined ? '–' : value.toFixed(2));

export function forgetFocus() {
  curve = [];
  places = new Map();
  best = null;
  number = 0;
  view.stars = [];
  put('best', '–');
  drawCurve($('focus-curve'), curve);
}

function show(found) {
  view.stars = found.list;
  draw();
  put('hfr', text(found.hfr));
  put('fwhm', text(found.fwhm));
  put('star-count', String(found.stars));
  const scale = found.arcsec_per_pixel;
  const notes = [];
  if (found.stars === 0) notes.push('No stars stand out: expose longer, or raise the gain.');
  if (found.saturated > 0) notes.push(`${found.saturated} saturated ${found.saturated === 1 ? 'star is' : 'stars are'} left out.`);
  if (scale && found.fwhm) notes.push(`FWHM ${(found.fwhm * scale).toFixed(2)}″`);
  put('focus-note', notes.join(' '));
  if (found.hfr === null) return;
  curve.push([(count += 1), found.hfr]);
  if (curve.length > kMostPoints) curve.shift();
  if (best === null || found.hfr < best) best = found.hfr;
  put('best', text(best));
  drawCurve($('focus-curve'), curve);
  if (position === null) return;
  places.set(position, found.hfr);
  $('focus-places').hidden = places.size < 2;
  drawCurve($('focus-places'), [...places].sort((a, b) => a[0] - b[0]), { dots: true, unit: 'position' });
}

export async function runFocus() {
  for (;;) {
    if (!$('focus-on').checked || document.hidden || !view.meta) {
      await sleep(200);
      continue;
    }
    try {
      const query = new URLSearchParams(visiblePart() ?? {});
      query.set('after', String(number));
      const moved = position;
      const found = await ask(cameraPath(`stars?${query}`));
      if (found) {
        number = found.number;
        if (moved === position) show(found);
      }
      await sleep(60);
    } catch {
      await sleep(700);
    }
  }
}

async function moveTo(place) {
  await attempt(() => send('PUT', cameraPath('focus'), { position: Math.min(Math.max(Math.round(place), 0), 1023) }));
}

export function showMotor(focus) {
  $('focus-motor').hidden = !focus;
  if (!focus) {
    position = null;
    return;
  }
  position = focus.moving ? null : focus.position;
  put('focus-at', `at ${focus.position}`);
  if (document.activeElement !== $('focus-position')) $('focus-position').value = String(focus.position);
}

on('focus-on', 'change', () => {
  $('focus-body').hidden = !$('focus-on').checked;
  if (!$('focus-on').checked) {
    view.stars = [];
    draw();
  }
});
on('focus-reset', 'click', forgetFocus);
on('focus-position', 'change', () => moveTo(Number($('focus-position').value)));
document.querySelectorAll('[data-steps]').forEach((button) =>
  button.addEventListener('click', () => moveTo(Number($('focus-position').value) + Number(button.dataset.steps))));
