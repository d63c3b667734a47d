// What every part of the page needs: asking the server, and saying numbers.

export const $ = (id) => document.getElementById(id);
export const sleep = (ms) => new Promise((done) => setTimeout(done, ms));

export class Refusal extends Error {
  constructor(status, name, text) {
    super(text);
    this.status = status;
    this.name = name;
  }
}

let camera = 0;
export const setCamera = (number) => { camera = number; };
export const cameraPath = (rest) => `/api/v1/cameras/${camera}/${rest}`;

async function refusalOf(response) {
  try {
    const { error } = await response.json();
    return new Refusal(response.status, error.name, error.text);
  } catch {
    return new Refusal(response.status, 'failed', `the server answered ${response.status}`);
  }
}

export async function ask(path, options) {
  const response = await fetch(path, options);
  if (!response.ok) throw await refusalOf(response);
  return response.status === 204 ? null : response.json();
}

export const send = (method, path, body = {}) =>
  ask(path, { method, headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(body) });

export function toast(text) {
  const line = document.createElement('div');
  line.className = 'toast';
  line.textContent = text;
  $('toasts').append(line);
  setTimeout(() => line.remove(), 6000);
}

// Does what a button asks for; says why when it cannot be done.
export const attempt = async (work) => {
  try {
    return await work();
  } catch (error) {
    toast(error.message);
    return undefined;
  }
};

export const on = (id, event, work) => $(id).addEventListener(event, work);

export function press(button, pressed) {
  button.setAttribute('aria-pressed', String(pressed));
}
export const isPressed = (button) => button.getAttribute('aria-pressed') === 'true';

export const put = (id, text) => {
  const place = $(id);
  if (place.textContent !== text) place.textContent = text;
};

export function bytes(count) {
  if (count >= 1e9) return `${(count / 1e9).toFixed(1)} GB`;
  if (count >= 1e6) return `${(count / 1e6).toFixed(1)} MB`;
  return `${Math.round(count / 1e3)} kB`;
}

export function seconds(time) {
  if (time >= 3600) return `${Math.floor(time / 3600)} h ${Math.floor((time % 3600) / 60)} min`;
  if (time >= 60) return `${Math.floor(time / 60)} min ${Math.floor(time % 60)} s`;
  if (time >= 10) return `${time.toFixed(0)} s`;
  if (time >= 1) return `${time.toFixed(1)} s`;
  if (time >= 0.001) return `${+(time * 1e3).toPrecision(3)} ms`;
  return `${Math.round(time * 1e6)} µs`;
}
