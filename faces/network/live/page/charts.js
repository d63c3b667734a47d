// Histogram and curves, drawn on canvases.

// A canvas with one drawing unit per screen pixel.
function sharp(canvas) {
  const ratio = window.devicePixelRatio || 1;
  const width = Math.max(canvas.clientWidth, 1);
  const height = Math.max(canvas.clientHeight, 1);
  if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
    canvas.style.height = `${height}px`;
  }
  const pen = canvas.getContext('2d');
  pen.setTransform(ratio, 0, 0, ratio, 0, 0);
  pen.clearRect(0, 0, width, height);
  return { pen, width, height };
}

const colour = (name) => getComputedStyle(document.body).getPropertyValue(name).trim();

// Values are shown by their square root: that spreads the dark ones, where the sky is.
export const toAxis = (share) => Math.sqrt(Math.min(Math.max(share, 0), 1));
export const fromAxis = (place) => place * place;

export function drawHistogram(canvas, histogram, points) {
  const { pen, width, height } = sharp(canvas);
  if (!histogram) return;
  const most = Math.log1p(Math.max(...histogram));
  pen.fillStyle = colour('--accent');
  pen.beginPath();
  pen.moveTo(0, height);
  histogram.forEach((count, bin) => {
    const top = height - (height - 6) * (most > 0 ? Math.log1p(count) / most : 0);
    pen.lineTo(toAxis(bin / 256) * width, top);
    pen.lineTo(toAxis((bin + 1) / 256) * width, top);
  });
  pen.lineTo(width, height);
  pen.closePath();
  pen.globalAlpha = 0.75;
  pen.fill();
  pen.globalAlpha = 1;
  if (!points) return;
  const places = [points[0], points[0] + (points[2] - points[0]) * points[1], points[2]];
  places.forEach((value, which) => {
    const x = Math.min(Math.max(toAxis(value) * width, 1), width - 1);
    pen.strokeStyle = colour(which === 1 ? '--warn' : '--text');
    pen.lineWidth = 1.5;
    pen.beginPath();
    pen.moveTo(x, 0);
    pen.lineTo(x, height);
    pen.stroke();
  });
}

// `points`: [x, y]; the newest one is marked.
export function drawCurve(canvas, points, { dots = false, unit = '' } = {}) {
  const { pen, width, height } = sharp(canvas);
  if (points.length === 0) return;
  const xs = points.map(([x]) => x);
  const ys = points.map(([, y]) => y);
  const left = Math.min(...xs);
  const right = Math.max(...xs, left + 1e-9);
  const least = Math.min(...ys);
  const most = Math.max(...ys);
  const span = Math.max(most - least, 0.5);
  const low = (least + most - span) / 2;
  const at = ([x, y]) => [34 + ((x - left) / (right - left)) * (width - 44), height - 8 - ((y - low) / span) * (height - 18)];
  pen.font = '11px system-ui, sans-serif';
  pen.fillStyle = colour('--quiet');
  pen.fillText(most.toFixed(2), 2, 13);
  pen.fillText(least.toFixed(2), 2, height - 4);
  if (unit) {
    pen.textAlign = 'right';
    pen.fillText(unit, width - 4, height - 4);
    pen.textAlign = 'left';
  }
  pen.strokeStyle = pen.fillStyle = colour('--accent');
  pen.lineWidth = 1.8;
  pen.lineJoin = 'round';
  pen.beginPath();
  points.forEach((point, i) => (i === 0 ? pen.moveTo(...at(point)) : pen.lineTo(...at(point))));
  if (!dots) pen.stroke();
  for (const point of dots ? points : points.slice(-1)) {
    pen.beginPath();
    pen.arc(...at(point), 3, 0, 2 * Math.PI);
    pen.fill();
  }
}
