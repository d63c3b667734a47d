// The picture: fetched as fast as this browser takes it, drawn, zoomed and moved.
import { $, attempt, cameraPath, isPressed, on, press, put, sleep } from './api.js';

const canvas = $('picture');
const pen = canvas.getContext('2d', { alpha: false });
const client = crypto.getRandomValues(new Uint32Array(2)).join('-');
const kMostZoom = 24;

export const view = {
  meta: null, // of the picture that is shown
  stretch: null, // null: by itself; else [black, mid, white]
  stars: [],
  fps: 0,
  onRegion: () => {},
};

let bitmap = null;
let zoom = null; // screen pixels per frame pixel; null: the whole frame is shown
let centre = [0, 0]; // frame pixel in the middle
let wishChanged = true;
let pending = null;
let pointer = null; // in frame pixels
let drawn = null; // region under the mouse: two corners
const arrivals = [];

const ratio = () => window.devicePixelRatio || 1;
const size = () => [canvas.clientWidth, canvas.clientHeight];
const frame = () => view.meta?.frame ?? [1, 1];

function fitZoom() {
  const [width, height] = size();
  return Math.min(width / frame()[0], height / frame()[1]);
}
const scale = () => zoom ?? fitZoom();
const middle = () => (zoom === null ? [frame()[0] / 2, frame()[1] / 2] : centre);
const toScreen = ([x, y]) => {
  const [width, height] = size();
  const [cx, cy] = middle();
  return [(x - cx) * scale() + width / 2, (y - cy) * scale() + height / 2];
};
const toFrame = ([x, y]) => {
  const [width, height] = size();
  const [cx, cy] = middle();
  return [(x - width / 2) / scale() + cx, (y - height / 2) / scale() + cy];
};

// The part of the frame that can be seen, whole pixels; null: all of it.
export function visiblePart() {
  if (zoom === null || !view.meta) return null;
  const [left, top] = toFrame([0, 0]);
  const [right, bottom] = toFrame(size());
  const x = Math.max(Math.floor(left), 0);
  const y = Math.max(Math.floor(top), 0);
  const w = Math.min(Math.ceil(right), frame()[0]) - x;
  const h = Math.min(Math.ceil(bottom), frame()[1]) - y;
  return w > 0 && h > 0 ? { x, y, w, h } : null;
}

function wish() {
  const [width, height] = size();
  const part = visiblePart();
  const pixels = part ? [part.w * scale(), part.h * scale()] : [width, height];
  const limits = (value) => String(Math.min(Math.max(Math.round(value * Math.min(ratio(), 2)), 64), 4096));
  const query = new URLSearchParams({ client, width: limits(pixels[0]), height: limits(pixels[1]) });
  if (part) Object.entries(part).forEach(([name, value]) => query.set(name, String(value)));
  if (view.stretch) ['black', 'mid', 'white'].forEach((name, i) => query.set(name, view.stretch[i].toFixed(5)));
  return query;
}

// The next picture is made anew, of the same frame if need be.
export function refresh() {
  wishChanged = true;
  pending?.abort();
}

function isNew(meta) {
  return !view.meta || meta.frame[0] !== view.meta.frame[0] || meta.frame[1] !== view.meta.frame[1];
}

async function take() {
  const query = wish();
  query.set('after', String(wishChanged ? 0 : (view.meta?.number ?? 0)));
  wishChanged = false;
  pending = new AbortController();
  const response = await fetch(cameraPath(`picture?${query}`), { signal: pending.signal });
  if (response.status !== 200) {
    if (response.status !== 204) await sleep(500);
    return;
  }
  const meta = JSON.parse(response.headers.get('Orqcam-Picture'));
  const next = await createImageBitmap(await response.blob());
  bitmap?.close();
  bitmap = next;
  if (isNew(meta)) zoom = null;
  if (view.meta?.number !== meta.number) arrivals.push(performance.now());
  view.meta = meta;
  draw();
}

export async function run() {
  for (;;) {
    try {
      if (document.hidden) await sleep(250);
      else await take();
    } catch (error) {
      if (error.name !== 'AbortError') await sleep(500);
    }
    while (arrivals.length > 0 && arrivals[0] < performance.now() - 2000) arrivals.shift();
    view.fps = arrivals.length / 2;
  }
}

// Another camera: nothing of the old one counts.
export function forget() {
  view.meta = null;
  view.stars = [];
  zoom = null;
  bitmap?.close();
  bitmap = null;
  refresh();
  draw();
}

function drawStars() {
  if (!isPressed($('mark-stars'))) return;
  pen.lineWidth = 1.4;
  for (const star of view.stars) {
    pen.strokeStyle = star.saturated ? '#ff6b6b' : '#58d6a5';
    pen.beginPath();
    pen.arc(...toScreen([star.x + 0.5, star.y + 0.5]), Math.max(7, (star.hfr ?? 2) * 3 * scale()), 0, 2 * Math.PI);
    pen.stroke();
  }
}

function drawCrosshair() {
  if (!isPressed($('crosshair'))) return;
  const [x, y] = toScreen([frame()[0] / 2, frame()[1] / 2]).map((place) => Math.round(place) + 0.5);
  const [width, height] = size();
  pen.strokeStyle = 'rgba(255, 90, 90, .85)';
  pen.lineWidth = 1;
  pen.beginPath();
  pen.moveTo(0, y);
  pen.lineTo(width, y);
  pen.moveTo(x, 0);
  pen.lineTo(x, height);
  for (const radius of [24, 72]) {
    pen.moveTo(x + radius, y);
    pen.arc(x, y, radius, 0, 2 * Math.PI);
  }
  pen.stroke();
}

function drawRegion() {
  if (!drawn) return;
  const [ax, ay] = toScreen(drawn[0]);
  const [bx, by] = toScreen(drawn[1]);
  pen.fillStyle = 'rgba(110, 168, 255, .18)';
  pen.fillRect(ax, ay, bx - ax, by - ay);
  pen.setLineDash([6, 4]);
  pen.strokeStyle = '#6ea8ff';
  pen.strokeRect(ax, ay, bx - ax, by - ay);
  pen.setLineDash([]);
}

export function draw() {
  const [width, height] = size();
  const wanted = [Math.round(width * ratio()), Math.round(height * ratio())];
  if (canvas.width !== wanted[0] || canvas.height !== wanted[1]) [canvas.width, canvas.height] = wanted;
  pen.setTransform(ratio(), 0, 0, ratio(), 0, 0);
  pen.fillStyle = '#000';
  pen.fillRect(0, 0, width, height);
  if (bitmap && view.meta) {
    const [x, y, w, h] = view.meta.crop;
    const [left, top] = toScreen([x, y]);
    pen.imageSmoothingEnabled = scale() * ratio() < 2;
    pen.drawImage(bitmap, left, top, w * scale(), h * scale());
    drawStars();
    drawCrosshair();
    drawRegion();
  }
  const text = zoom === null ? 'fit' : `${Math.round(zoom * ratio() * 100)} %`;
  put('zoom', text);
  put('pointer', pointer && view.meta ? `${Math.floor(pointer[0])}, ${Math.floor(pointer[1])}` : '');
}

// The frame pixel under `place` (the middle of the screen) stays where it is.
function zoomTo(wanted, place = null) {
  if (!view.meta) return;
  const [width, height] = size();
  const anchor = place ?? [width / 2, height / 2];
  const under = toFrame(anchor);
  const next = Math.min(wanted, kMostZoom);
  if (next <= fitZoom() * 1.001) {
    zoom = null;
  } else {
    zoom = next;
    centre = [under[0] - (anchor[0] - width / 2) / zoom, under[1] - (anchor[1] - height / 2) / zoom];
    keepInside();
  }
  refresh();
  draw();
}

function keepInside() {
  centre = centre.map((place, i) => Math.min(Math.max(place, 0), frame()[i]));
}

export const zoomBy = (factor) => zoomTo(scale() * factor);
export const zoomFit = () => zoomTo(0);
export const zoomOne = () => zoomTo(1 / ratio());

export function moveBy(dx, dy) {
  if (zoom === null) return;
  centre = [centre[0] + dx / zoom, centre[1] + dy / zoom];
  keepInside();
  refresh();
  draw();
}

// The drawn box in sensor pixels, whatever the frame shows of the sensor, and how.
function sensorBox([a, b]) {
  const [width, height] = frame();
  const clamp = (value, most) => Math.min(Math.max(Math.round(value), 0), most);
  let [left, right] = [clamp(Math.min(a[0], b[0]), width), clamp(Math.max(a[0], b[0]), width)];
  let [top, bottom] = [clamp(Math.min(a[1], b[1]), height), clamp(Math.max(a[1], b[1]), height)];
  if (view.meta.flips & 1) [left, right] = [width - right, width - left];
  if (view.meta.flips & 2) [top, bottom] = [height - bottom, height - top];
  const { bin, start } = view.meta;
  return { start_x: start[0] + left * bin, start_y: start[1] + top * bin, width: right - left, height: bottom - top };
}

const fingers = new Map();
let moved = null;
let pinch = 0;

const placeOf = (event) => [event.offsetX, event.offsetY];
const spread = () => {
  const [a, b] = [...fingers.values()];
  return Math.hypot(a[0] - b[0], a[1] - b[1]);
};

canvas.addEventListener('pointerdown', (event) => {
  canvas.setPointerCapture(event.pointerId);
  fingers.set(event.pointerId, placeOf(event));
  if (fingers.size === 2) pinch = spread();
  if (isPressed($('draw-region')) && view.meta) {
    const place = toFrame(placeOf(event));
    drawn = [place, place];
  } else {
    moved = placeOf(event);
    canvas.classList.add('moving');
  }
});

canvas.addEventListener('pointermove', (event) => {
  const place = placeOf(event);
  pointer = toFrame(place);
  if (fingers.has(event.pointerId)) fingers.set(event.pointerId, place);
  if (drawn) {
    drawn = [drawn[0], toFrame(place)];
  } else if (fingers.size === 2) {
    const now = spread();
    if (Math.abs(now - pinch) > 8) {
      zoomBy(now / pinch);
      pinch = now;
    }
  } else if (moved) {
    moveBy(moved[0] - place[0], moved[1] - place[1]);
    moved = place;
  }
  draw();
});

function release(event) {
  fingers.delete(event.pointerId);
  canvas.classList.remove('moving');
  moved = null;
  if (!drawn) return;
  const box = sensorBox(drawn);
  drawn = null;
  draw();
  if (event.type !== 'pointerup' || box.width < 4 || box.height < 4) return;
  setDrawing(false);
  attempt(() => view.onRegion(box));
}
canvas.addEventListener('pointerup', release);
canvas.addEventListener('pointercancel', release);
canvas.addEventListener('pointerleave', () => {
  pointer = null;
  draw();
});
canvas.addEventListener('wheel', (event) => {
  event.preventDefault();
  zoomTo(scale() * 1.0015 ** -event.deltaY, placeOf(event));
}, { passive: false });
canvas.addEventListener('dblclick', (event) => {
  if (zoom === null) zoomTo(1 / ratio(), placeOf(event));
  else zoomFit();
});
canvas.addEventListener('keydown', (event) => {
  const ways = { ArrowLeft: [-60, 0], ArrowRight: [60, 0], ArrowUp: [0, -60], ArrowDown: [0, 60] };
  if (!ways[event.key] || zoom === null) return;
  event.preventDefault();
  moveBy(...ways[event.key]);
});

export function setDrawing(drawing) {
  press($('draw-region'), drawing);
  canvas.classList.toggle('drawing', drawing);
}

on('zoom-in', 'click', () => zoomBy(1.5));
on('zoom-out', 'click', () => zoomBy(1 / 1.5));
on('zoom-fit', 'click', zoomFit);
on('zoom-one', 'click', zoomOne);
on('draw-region', 'click', () => setDrawing(!isPressed($('draw-region'))));
for (const id of ['crosshair', 'mark-stars']) {
  on(id, 'click', () => {
    press($(id), !isPressed($(id)));
    draw();
  });
}
new ResizeObserver(() => {
  draw();
  refresh();
}).observe(canvas);
