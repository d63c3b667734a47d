// The page as a whole: which camera, how it is, and what the buttons do.
import { $, ask, attempt, bytes, cameraPath, isPressed, on, press, put, seconds, send, setCamera, sleep } from './api.js';
import { drawHistogram, fromAxis, toAxis } from './charts.js';
import { forgetControls, loadControls } from './controls.js';
import { forgetFocus, runFocus, showMotor } from './focus.js';
import * as picture from './view.js';

const { view } = picture;
const kFormats = ['raw 8 bits', 'colour 24 bits', 'raw 16 bits', 'luminance 8 bits'];
let state = null;
let before = null; // counters of the poll before, for rates
let wasPresent = false;

// ---- State -----------------------------------------------------------------------------------------------

function showPresence() {
  const words = { open: ['connected', 'good'], lost: ['unplugged', 'bad'], absent: ['not there', 'bad'] };
  const [word, kind] = words[state.presence] ?? ['?', 'warn'];
  put('presence', word);
  $('presence').className = `chip ${kind}`;
  const here = state.presence === 'open';
  if (!here) {
    if (state.presence === 'lost') showNotice('The camera is unplugged', 'Plug it in again: the picture comes back by itself.');
    else showNotice('No camera', state.trouble);
  } else if (state.view.trouble) {
    showNotice('No picture', state.view.trouble);
  } else {
    $('notice').hidden = true;
  }
  if (here && !wasPresent) reload();
  wasPresent = here;
}

function showNotice(title, text) {
  const notice = $('notice');
  const line = `${title}|${text}`;
  if (notice.dataset.shown !== line) {
    notice.dataset.shown = line;
    const heading = document.createElement('b');
    heading.textContent = title;
    notice.replaceChildren(heading, text);
  }
  notice.hidden = false;
}

function showCounters() {
  const { counters, camera, server, devices } = state;
  put('c-fps', `${state.view.fps.toFixed(1)} fps`);
  put('c-page', `${view.fps.toFixed(1)} fps`);
  put('c-cpu', server.cpu_percent === null ? '–' : `${server.cpu_percent.toFixed(0)} %`);
  put('c-free', bytes(server.free_bytes));
  put('c-link', camera ? (camera.usb >= 3 ? 'USB 3' : camera.usb === 2 ? 'USB 2' : '–') : '–');
  const sensor = devices?.sensor_c;
  put('c-sensor', sensor === null || sensor === undefined ? '–' : `${sensor.toFixed(1)} °C`);
  if (!counters) return;
  put('c-frames', String(counters.completed));
  for (const [id, count] of [['c-lost', counters.lost + counters.failed], ['c-dropped', counters.dropped]]) {
    put(id, String(count));
    $(id).classList.toggle('bad', count > 0);
  }
  const now = performance.now();
  if (before && counters.bytes >= before.bytes) {
    put('c-rate', `${((counters.bytes - before.bytes) / 1e3 / (now - before.at)).toFixed(1)} MB/s`);
  }
  before = { bytes: counters.bytes, at: now };
}

function showStatistics() {
  const statistics = state.statistics;
  drawHistogram($('histogram'), statistics?.histogram, stretchPoints());
  if (!statistics) return;
  const share = statistics.saturated;
  const chip = $('saturated');
  put('saturated', share > 0 ? `${(share * 100).toPrecision(2)} % saturated` : 'nothing saturated');
  chip.className = `chip small ${share > 0.001 ? 'bad' : share > 0 ? 'warn' : 'good'}`;
  put('levels', `median ${Math.round(statistics.median)}, mean ${Math.round(statistics.mean)}, ` +
    `${statistics.minimum} to ${statistics.maximum} of ${statistics.full_scale}`);
}

function showWork() {
  const { work, exposure } = state;
  const isLong = exposure?.running && exposure.exposure_us >= 1e6;
  $('progress').hidden = !work.running && !isLong;
  $('abort').hidden = !work.running;
  const known = exposure?.exposure_us > 0 && (work.kind === 'exposure' || !work.running);
  if (known) {
    $('progress-bar').value = exposure.elapsed_us / exposure.exposure_us;
    const left = Math.max(exposure.exposure_us - exposure.elapsed_us, 0) / 1e6;
    put('countdown', left > 0 ? `${left.toFixed(1)} s of ${seconds(exposure.exposure_us / 1e6)} left` : 'reading out');
  } else {
    $('progress-bar').removeAttribute('value');
    const words = { dark: 'taking a dark', 'hot-pixels': 'looking for hot pixels', 'warm-up': 'warming up', focus: 'moving the lens', exposure: 'exposing' };
    put('countdown', words[work.kind] ?? '');
  }
  $('work-result').classList.toggle('bad', work.trouble !== '');
  put('work-result', work.running ? '' : work.trouble || (work.kind === 'exposure' && work.result ? `Saved as ${work.result}` : work.result));
  for (const id of ['expose', 'take-dark', 'find-hot']) $(id).disabled = work.running || state.recording.running || state.presence !== 'open';
}

function showRecording() {
  const { recording, server } = state;
  const button = $('record');
  button.classList.toggle('running', recording.running);
  put('record', recording.running ? 'Stop' : 'Record');
  const drops = recording.missed + recording.lost;
  const rate = recording.seconds > 0.5 ? recording.bytes / recording.seconds : 0;
  const left = rate > 0 ? `, ${seconds(server.free_bytes / rate)} left on the disk` : '';
  put('record-state', recording.running
    ? `${recording.frames} frames, ${seconds(recording.seconds)}, ${bytes(rate)}/s${left}, ${drops} dropped`
    : `${bytes(server.free_bytes)} free`);
  $('record-note').classList.toggle('bad', recording.trouble !== '');
  if (recording.trouble) put('record-note', recording.trouble);
  else if (recording.file) put('record-note', `${recording.running ? 'Writing' : 'Written:'} ${recording.file}${recording.running ? '' : `, ${recording.frames} frames, ${bytes(recording.bytes)}, ${drops} dropped`}`);
  else put('record-note', '');
}

function showDevices() {
  const devices = state.devices ?? {};
  $('d-cooler').hidden = !state.camera?.abilities.cooler;
  $('d-gps').hidden = !state.camera?.abilities.gps;
  showMotor(devices.focus);
  const cooler = devices.cooler;
  if (cooler) {
    const parts = [`${cooler.sensor_c?.toFixed(1) ?? '–'} °C`, cooler.on ? `target ${cooler.target_c} °C, ${cooler.power?.toFixed(0) ?? '–'} % power` : 'off'];
    if (cooler.trouble) parts.push(cooler.trouble);
    put('cooler-state', parts.join(', '));
  }
  const gps = devices.gps;
  if (gps) {
    put('gps-state', gps.fix
      ? `Fix with ${gps.satellites} satellites, ${gps.latitude.toFixed(5)}°, ${gps.longitude.toFixed(5)}°, ${gps.altitude_m.toFixed(0)} m. ${gps.utc.slice(0, 19)} UTC. Frames have ${['the computer\'s time', 'GPS time', 'predicted GPS time'][state.frame?.time_source ?? 0]}.`
      : 'No fix: frames have the computer\'s time.');
  }
  if (devices.dark) {
    $('use-dark').checked = devices.dark.in_use;
    $('use-dark').disabled = !devices.dark.kept && !devices.dark.in_use;
    put('dark-note', devices.dark.in_use ? devices.dark.differences || 'The dark was taken with these settings.' : devices.dark.kept ? '' : 'This camera has no dark yet.');
  }
  if (typeof devices.repairs_hot_pixels === 'boolean') $('repair').checked = devices.repairs_hot_pixels;
}

function show() {
  showPresence();
  showCounters();
  showStatistics();
  showWork();
  showRecording();
  showDevices();
  press($('live'), state.view.running);
  put('live', state.view.running ? 'Live' : 'Paused');
  if (view.meta) document.title = `${state.camera?.model ?? 'orqcam'} – ${seconds(view.meta.exposure_us / 1e6)}`;
}

async function poll() {
  for (;;) {
    if (!document.hidden) {
      try {
        state = await ask(cameraPath('live'));
        show();
      } catch (error) {
        wasPresent = false;
        put('presence', 'no answer');
        $('presence').className = 'chip bad';
        showNotice('The server does not answer', error.status === 401 ? 'Open the address that orqcam serve has printed.' : 'Is orqcam serve still running? The page goes on by itself.');
      }
    }
    await sleep(state?.work.running || state?.recording.running ? 250 : 400);
  }
}

// ---- Cameras ---------------------------------------------------------------------------------------------

async function listCameras() {
  const { cameras } = await ask('/api/v1/state');
  const choice = $('camera');
  const names = cameras.map((one) => `${one.number}: ${one.model ?? one.name}`);
  if ([...choice.options].map((one) => one.textContent).join() === names.join()) return;
  const chosen = choice.value;
  choice.replaceChildren(...cameras.map((one, i) => new Option(names[i], String(one.number))));
  if (chosen) choice.value = chosen;
}

async function reload() {
  await attempt(async () => {
    await loadControls();
    await showRegion();
    $('single-seconds').max = 86400;
  });
}

on('camera', 'change', () => {
  setCamera(Number($('camera').value));
  forgetControls();
  forgetFocus();
  before = null;
  wasPresent = false;
  picture.forget();
});

// ---- Stretch ---------------------------------------------------------------------------------------------

const kFine = 1000;
const slider = (name) => $(`stretch-${name}`);

// Of the picture that is shown, all colours together: [black, middle between black and white, white].
function stretchPoints() {
  if (view.stretch) return view.stretch;
  const channels = view.meta?.stretch;
  return channels ? [0, 1, 2].map((i) => channels.reduce((sum, one) => sum + one[i], 0) / channels.length) : null;
}

function showStretch() {
  const points = stretchPoints();
  if (!points) return;
  slider('black').value = String(toAxis(points[0]) * kFine);
  slider('mid').value = String(toAxis(points[1]) * kFine);
  slider('white').value = String(toAxis(points[2]) * kFine);
}

function setStretch(points) {
  const white = Math.max(points[2], 0.002);
  view.stretch = [Math.min(points[0], white - 0.001), Math.min(Math.max(points[1], 1e-5), 0.9999), white];
  $('stretch-auto').checked = false;
  drawHistogram($('histogram'), state?.statistics?.histogram, view.stretch);
  picture.refresh();
}

function stretchAutomatically() {
  $('stretch-auto').checked = true;
  view.stretch = null;
  picture.refresh();
}

on('stretch-auto', 'change', () => {
  if ($('stretch-auto').checked) return stretchAutomatically();
  showStretch();
  const points = stretchPoints();
  if (points) setStretch(points);
  return undefined;
});
for (const name of ['black', 'mid', 'white']) {
  slider(name).addEventListener('input', () => {
    if (!view.stretch) {
      const kept = slider(name).value;
      showStretch();
      slider(name).value = kept;
    }
    setStretch(['black', 'mid', 'white'].map((each) => fromAxis(Number(slider(each).value) / kFine)));
  });
}

// The nearest of the three lines follows the mouse.
function dragHistogram(event) {
  const points = stretchPoints();
  if (!points) return;
  const place = Math.min(Math.max(event.offsetX / $('histogram').clientWidth, 0), 1);
  const lines = [points[0], points[0] + (points[2] - points[0]) * points[1], points[2]].map(toAxis);
  if (dragHistogram.line === undefined) {
    dragHistogram.line = lines.reduce((nearest, line, i) => (Math.abs(line - place) < Math.abs(lines[nearest] - place) ? i : nearest), 0);
  }
  const value = fromAxis(place);
  const moved = [...points];
  if (dragHistogram.line === 1) moved[1] = (value - points[0]) / (points[2] - points[0]);
  else moved[dragHistogram.line] = value;
  setStretch(moved);
  showStretch();
}
on('histogram', 'pointerdown', (event) => {
  $('histogram').setPointerCapture(event.pointerId);
  dragHistogram.line = undefined;
  dragHistogram(event);
});
on('histogram', 'pointermove', (event) => {
  if (event.buttons !== 0) dragHistogram(event);
});

// ---- Region ----------------------------------------------------------------------------------------------

const kFields = { start_x: 'region-x', start_y: 'region-y', width: 'region-w', height: 'region-h', bin: 'region-bin', format: 'region-format' };

async function showRegion(region) {
  const now = region ?? (await ask(cameraPath('region')));
  const { camera } = state;
  if (!camera) return;
  const bins = [1, 2, 3, 4].filter((bin) => camera.bins & (1 << bin));
  $('region-bin').replaceChildren(...bins.map((bin) => new Option(`${bin} × ${bin}`, String(bin))));
  const formats = kFormats.map((name, i) => [name, i]).filter(([, i]) => camera.formats & (1 << i));
  $('region-format').replaceChildren(...formats.map(([name, i]) => new Option(name, String(i))));
  for (const [name, id] of Object.entries(kFields)) $(id).value = String(now[name]);
}

const applyRegion = (wanted) => attempt(async () => {
  await showRegion(await send('PUT', cameraPath('region'), wanted));
  picture.refresh();
});
view.onRegion = applyRegion;
on('region-form', 'submit', (event) => {
  event.preventDefault();
  applyRegion(Object.fromEntries(Object.entries(kFields).map(([name, id]) => [name, Number($(id).value)])));
});
on('region-full', 'click', () => {
  const [width, height] = state.camera.sensor;
  const bin = Number($('region-bin').value) || 1;
  applyRegion({ start_x: 0, start_y: 0, width: Math.floor(width / bin), height: Math.floor(height / bin) });
});

// ---- What takes a while ----------------------------------------------------------------------------------

const setLive = (running) => attempt(() => send('PUT', cameraPath('view'), { running }));
on('live', 'click', () => setLive(!isPressed($('live'))));
on('expose', 'click', () => attempt(async () => {
  const time = Number($('single-seconds').value);
  if (!(time > 0)) throw new Error('Give an exposure time in seconds.');
  await send('PUT', cameraPath('view'), { running: false });
  await send('POST', cameraPath('exposure'), { exposure_us: Math.round(time * 1e6), save: $('single-save').checked });
}));
on('abort', 'click', () => attempt(() => send('POST', cameraPath('abort'))));
on('record-form', 'submit', (event) => {
  event.preventDefault();
  attempt(async () => {
    if (state?.recording.running) return send('DELETE', cameraPath('recording'));
    return send('POST', cameraPath('recording'), {
      format: $('record-format').value,
      name: $('record-name').value.trim() || null,
      seconds: Number($('record-seconds').value) || 0,
      frames: Number($('record-frames').value) || 0,
    });
  });
});
on('cooler-on', 'click', () => attempt(() => send('PUT', cameraPath('cooler'), { on: true, target_c: Number($('cooler-target').value) })));
on('cooler-off', 'click', () => attempt(() => send('PUT', cameraPath('cooler'), { on: false })));
on('cooler-warm', 'click', () => attempt(() => send('POST', cameraPath('warm-up'))));
on('use-dark', 'change', () => attempt(() => send('PUT', cameraPath('corrections'), { dark: $('use-dark').checked })));
on('repair', 'change', () => attempt(() => send('PUT', cameraPath('corrections'), { hot_pixels: $('repair').checked })));
on('take-dark', 'click', () => attempt(() => send('POST', cameraPath('dark'))));
on('find-hot', 'click', () => attempt(() => send('POST', cameraPath('hot-pixels'))));

// ---- Files -----------------------------------------------------------------------------------------------

async function showFiles() {
  const { folder, files } = await ask('/api/v1/files');
  put('files-note', files.length === 0 ? `Nothing in ${folder} yet.` : `In ${folder}, the newest first`);
  $('files').replaceChildren(...files.slice(0, 200).map((file) => {
    const item = document.createElement('li');
    const link = Object.assign(document.createElement('a'), { textContent: file.name, download: file.name });
    link.href = `/api/v1/files/${encodeURIComponent(file.name)}`;
    const size = Object.assign(document.createElement('span'), { textContent: bytes(file.bytes) });
    item.append(link, size);
    return item;
  }));
}

async function tend() {
  for (;;) {
    if (!document.hidden) {
      try {
        await listCameras();
        if (state?.presence === 'open') await loadControls();
        if ($('d-files').open) await showFiles();
      } catch {
        // The state's poll says so.
      }
    }
    await sleep(1500);
  }
}
on('d-files', 'toggle', () => $('d-files').open && attempt(showFiles));

// ---- Night, keys -----------------------------------------------------------------------------------------

function setNight(night) {
  press($('night'), night);
  document.body.classList.toggle('night', night);
  localStorage.setItem('night', night ? '1' : '');
}
on('night', 'click', () => setNight(!isPressed($('night'))));
setNight(localStorage.getItem('night') === '1');
on('help', 'click', () => $('keys').showModal());

const kKeys = {
  ' ': () => $('live').click(),
  '+': () => picture.zoomBy(1.5),
  '=': () => picture.zoomBy(1.5),
  '-': () => picture.zoomBy(1 / 1.5),
  f: picture.zoomFit,
  1: picture.zoomOne,
  c: () => $('crosshair').click(),
  m: () => $('mark-stars').click(),
  r: () => $('draw-region').click(),
  a: stretchAutomatically,
  n: () => $('night').click(),
  '?': () => $('keys').showModal(),
};
document.addEventListener('keydown', (event) => {
  const typing = event.target.closest('input, select, textarea, button, summary, dialog, a');
  if (typing || event.ctrlKey || event.metaKey || event.altKey || !kKeys[event.key]) return;
  event.preventDefault();
  kKeys[event.key]();
});

setInterval(() => {
  if ($('stretch-auto').checked) showStretch();
}, 500);
await attempt(listCameras);
picture.run();
runFocus();
poll();
tend();
