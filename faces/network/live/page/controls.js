// The camera's controls: a row for each, made of what the camera says about it.
import { $, attempt, cameraPath, ask, send } from './api.js';

const kMain = ['Exposure', 'Gain', 'Offset'];
const rows = new Map();

// Exposures span eight powers of ten: their slider counts powers.
const isExposure = (control) => control.name === 'Exposure';
const toSlider = (control, value) => (isExposure(control) ? Math.log10(Math.max(value, 1)) : value);
const fromSlider = (control, place) => (isExposure(control) ? Math.round(10 ** place) : place);
const sliderMost = (control) => Math.min(control.maximum, isExposure(control) ? 600e6 : Infinity);

// Exposures are shown in milliseconds, whatever the camera counts.
const shownScale = (control) => (isExposure(control) ? 1000 : control.scale);
const shownUnit = (control) => (isExposure(control) ? 'ms' : control.unit);

function element(tag, properties, ...children) {
  const made = Object.assign(document.createElement(tag), properties);
  made.append(...children);
  return made;
}

async function set(control, body) {
  const row = rows.get(control.name);
  row.sending += 1;
  try {
    await attempt(async () => show(await send('PUT', cameraPath(`controls/${encodeURIComponent(control.name)}`), body), 1));
  } finally {
    row.sending -= 1;
  }
}

// A slider that is dragged sends its last place, one at a time.
function throttled(work) {
  let busy = false;
  let next;
  return async (value) => {
    next = value;
    if (busy) return;
    busy = true;
    while (next !== undefined) {
      const now = next;
      next = undefined;
      await work(now);
    }
    busy = false;
  };
}

function makeRow(control) {
  const row = { control, sending: 0, node: element('div', { className: 'control', role: 'group' }) };
  row.node.setAttribute('aria-label', control.name);
  row.node.title = control.description;
  const id = `control-${control.name.replace(/[^A-Za-z0-9]/g, '-')}`;
  const label = element('label', { className: 'name', htmlFor: id, textContent: control.name });
  if (control.minimum === 0 && control.maximum === 1 && control.writable) {
    row.check = element('input', { type: 'checkbox', id });
    row.check.addEventListener('change', () => set(control, { value: row.check.checked ? 1 : 0 }));
    row.node.append(label, element('span', {}), element('span', { className: 'check' }, row.check));
    return row;
  }
  row.number = element('input', { type: 'number', id, step: 'any', disabled: !control.writable });
  row.number.min = control.minimum / shownScale(control);
  row.number.max = control.maximum / shownScale(control);
  row.number.addEventListener('change', () => {
    if (row.number.value !== '') set(control, { value: Math.round(Number(row.number.value) * shownScale(control)) });
  });
  row.node.append(label);
  if (control.can_be_automatic && control.writable) {
    row.auto = element('input', { type: 'checkbox', id: `${id}-auto` });
    row.auto.setAttribute('aria-label', `${control.name} by itself`);
    row.auto.addEventListener('change', () => set(control, row.auto.checked ? { automatic: true } : { value: row.value }));
    row.node.append(element('label', { className: 'check auto' }, row.auto, 'auto'));
  } else {
    row.node.append(element('span', {}));
  }
  row.node.append(element('span', { className: 'value' }, row.number, element('span', { className: 'unit', textContent: shownUnit(control) })));
  if (control.writable && control.maximum > control.minimum) {
    row.slider = element('input', { type: 'range', step: isExposure(control) ? 0.01 : 1 });
    row.slider.setAttribute('aria-label', control.name);
    row.slider.min = toSlider(control, control.minimum);
    row.slider.max = toSlider(control, sliderMost(control));
    const dragged = throttled((value) => set(control, { value }));
    row.slider.addEventListener('input', () => {
      const value = Math.max(fromSlider(control, Number(row.slider.value)), control.minimum);
      row.number.value = String(value / shownScale(control));
      dragged(value);
    });
    row.node.append(row.slider);
  }
  return row;
}

// What is being sent counts more than what was asked for before: `own` is 1 for the answer to it.
function show(control, own = 0) {
  const row = rows.get(control.name);
  if (!row || row.sending > own) return;
  row.value = control.value;
  const known = control.value !== null;
  if (row.check) row.check.checked = control.value === 1;
  if (row.auto) row.auto.checked = control.automatic;
  if (row.number && document.activeElement !== row.number) row.number.value = known ? String(control.value / shownScale(control)) : '';
  if (row.slider && document.activeElement !== row.slider && known) row.slider.value = String(toSlider(control, control.value));
  if (row.slider) row.slider.disabled = control.automatic;
  if (row.number) row.number.disabled = control.automatic || !control.writable;
}

export async function loadControls() {
  const { controls } = await ask(cameraPath('controls'));
  const names = controls.map((one) => one.name).join();
  if (names !== [...rows.keys()].join()) {
    rows.clear();
    $('main-controls').replaceChildren();
    $('controls').replaceChildren();
    for (const control of controls) {
      const row = makeRow(control);
      rows.set(control.name, row);
      $(kMain.includes(control.name) ? 'main-controls' : 'controls').append(row.node);
    }
    const order = (node) => kMain.indexOf(node.getAttribute('aria-label'));
    $('main-controls').append(...[...$('main-controls').children].sort((a, b) => order(a) - order(b)));
  }
  controls.forEach((control) => show(control));
}

export const forgetControls = () => rows.clear();
