// Kestrel Studio's page: picks a class, edits its parameters and the stage, and shows the
// server's frames, a coarse one first and then the full one. Every edit starts a new
// generation; a frame of an older generation is dropped, never drawn.
'use strict';

const studio = {
  client: (self.crypto && crypto.randomUUID) ? crypto.randomUUID() : 'tab-' + Math.random().toString(36).slice(2),
  request: 0,       // id of the last request sent; the server cancels older ones of this tab
  generation: 0,    // bumped by every edit
  classes: [],
  images: [],
  info: null,       // the class being edited, as /api/classes/NAME answers
  parameters: {},   // values set explicitly; the rest stay at the class default
  frames: 0,        // frames drawn, for tests and the status line
  finalFrames: 0,
  lastExport: null,
  lastFinal: null,  // the last full-size frame as a blob
  passes: [],       // the last render passes' outcomes, newest last, for diagnosing a stalled page
};
window.studio = studio;

const $ = (id) => document.getElementById(id);
const COARSE_DIVISOR = 4;

// ---------------------------------------------------------------------------------------------
// Values and colours

function srgbFromLinear(x) {
  x = Math.min(Math.max(x, 0), 1);
  return x <= 0.0031308 ? 12.92 * x : 1.055 * Math.pow(x, 1 / 2.4) - 0.055;
}
function linearFromSrgb(x) {
  return x <= 0.04045 ? x / 12.92 : Math.pow((x + 0.055) / 1.055, 2.4);
}
function hexFromLinear(rgb) {
  return '#' + rgb.slice(0, 3).map((v) => Math.round(srgbFromLinear(v) * 255).toString(16).padStart(2, '0')).join('');
}
function linearFromHex(hex) {
  return [1, 3, 5].map((i) => Number(linearFromSrgb(parseInt(hex.substr(i, 2), 16) / 255).toFixed(4)));
}

// What the user typed: a finite number as a number, anything else as typed, so the server
// names the fault.
function typedNumber(text) {
  const value = Number(text);
  return text.trim() !== '' && Number.isFinite(value) ? value : text;
}

function currentValue(p) {
  return Object.prototype.hasOwnProperty.call(studio.parameters, p.name) ? studio.parameters[p.name] : p.default;
}

function isColour(p) {
  if (p.kind) return p.kind === 'colour';
  return (p.type === 'float3' || p.type === 'float4') && /colou?r|tint/i.test(p.name);
}

// A slider's range: the catalogue's soft range, else one around the default.
function sliderRange(p) {
  if (Array.isArray(p.softRange) && p.softRange[0] !== null && p.softRange[1] !== null) return p.softRange;
  const d = typeof p.default === 'number' ? p.default : 0;
  if (d >= 0 && d <= 1) return [0, 1];
  return d > 0 ? [0, 2 * d] : [2 * d, 0];
}

// Without a catalogue, groups follow the name: the node path of a graph variant's member, or
// the first word of the name.
function groupOf(p) {
  if (p.group) return p.group;
  const graph = /^_ward_([a-z]+)/.exec(p.name);
  if (graph) return 'graph: ' + graph[1];
  const word = /^(?:u_)?([a-z]+|[A-Z]+[a-z]*)/.exec(p.name);
  return word ? word[1].toLowerCase() : 'other';
}

// ---------------------------------------------------------------------------------------------
// Server calls

async function api(path, body) {
  const response = await fetch(path, body === undefined ? {} : {
    method: 'POST', headers: {'Content-Type': 'application/json'}, body: JSON.stringify(body)});
  return response;
}

function stageSettings() {
  return {
    scene: $('stage-scene').value, environment: $('stage-environment').value, lights: $('stage-lights').value,
    mode: $('stage-mode').value, samples: typedNumber($('stage-samples').value), size: Number($('stage-size').value),
    seed: typedNumber($('stage-seed').value),
  };
}

function lookRequest(stage) {
  return {client: studio.client, request: ++studio.request, class: studio.info.name,
          parameters: studio.parameters, stage: stage};
}

function setStatus(text) { $('status').textContent = text; }

function clearErrors() {
  document.querySelectorAll('.param.bad').forEach((row) => row.classList.remove('bad'));
  document.querySelectorAll('.error').forEach((e) => { e.textContent = ''; });
}

// Shows a refusal beside the control it is about.
function showError(error) {
  const name = error.parameter || '';
  let place = null;
  if (name.startsWith('stage')) place = $('error-stage');
  else if (name) place = document.querySelector(`.param[data-name="${CSS.escape(name)}"] .error`);
  if (place) {
    place.textContent = error.error;
    if (place.parentElement.classList.contains('param')) place.parentElement.classList.add('bad');
  } else {
    $('error-class').textContent = error.error;
  }
  setStatus('Not rendered: ' + error.error);
}

// A response the page will not use. Its body is cancelled so that the connection is free at
// once: the browser keeps a connection busy while an unread body waits, and a slider drag leaves
// enough superseded frames unread to take every connection it allows one server.
function discard(response) {
  if (response.body) response.body.cancel().catch(() => {});
}

// One pass: a frame of the given stage, drawn only while its generation is current. Returns
// false when the frame was refused, superseded or stale.
async function renderPass(generation, stage, coarse) {
  // A stale generation sends nothing more: its request would carry a higher number than the
  // current generation's request in flight, and the server would cancel that one in its favour.
  if (generation !== studio.generation) return false;
  const started = performance.now();
  const request = lookRequest(stage);
  const pass = {generation, request: request.request, coarse, status: 'sent'};
  studio.passes = studio.passes.slice(-11).concat([pass]);
  const response = await api('/api/render', request);
  pass.status = response.status;
  if (generation !== studio.generation || response.status === 409) {
    discard(response);
    return false;
  }
  if (!response.ok) {
    showError(await response.json().catch(() => ({error: 'the server answered ' + response.status})));
    return false;
  }
  const blob = await response.blob();
  if (generation !== studio.generation) return false;
  const frame = $('frame');
  if (frame.src) URL.revokeObjectURL(frame.src);
  frame.src = URL.createObjectURL(blob);
  frame.classList.toggle('coarse', coarse);
  await frame.decode().catch(() => {});
  studio.frames++;
  const ms = Math.round(performance.now() - started);
  const text = `${stage.size}×${stage.size}, ${stage.samples} spp, ${stage.mode}: ${ms} ms`;
  if (coarse) {
    $('frame-info').textContent = 'preview ' + text + ' · refining…';
  } else {
    studio.finalFrames++;
    studio.lastFinal = blob;
    $('frame-info').textContent = 'final ' + text;
  }
  return true;
}

// Renders the look: a coarse frame at a quarter of the size and one sample, then the full one.
async function refresh() {
  if (!studio.info) return;
  const generation = ++studio.generation;
  clearErrors();
  const stage = stageSettings();
  setStatus('Rendering…');
  try {
    const coarse = Object.assign({}, stage, {size: Math.max(16, Math.round(stage.size / COARSE_DIVISOR)), samples: 1});
    if (!(await renderPass(generation, coarse, true))) return;
    if (await renderPass(generation, stage, false)) setStatus('Ready');
  } catch (error) {
    if (generation === studio.generation) setStatus('The studio is not reachable: ' + error.message);
  }
}

// ---------------------------------------------------------------------------------------------
// Class picker

function renderClassList() {
  const query = $('class-search').value.trim().toLowerCase();
  const list = $('class-list');
  list.textContent = '';
  for (const c of studio.classes) {
    const text = (c.name + ' ' + (c.summary || '') + ' ' + (c.description || '')).toLowerCase();
    if (query && !text.includes(query)) continue;
    const item = document.createElement('li');
    item.dataset.name = c.name;
    item.textContent = c.name;
    if (c.summary || c.description) {
      const line = document.createElement('small');
      line.textContent = c.summary || c.description;
      item.appendChild(line);
    }
    if (studio.info && studio.info.name === c.name) item.classList.add('selected');
    item.addEventListener('click', () => chooseClass(c.name));
    list.appendChild(item);
  }
}

async function chooseClass(name, parameters) {
  const response = await api('/api/classes/' + encodeURIComponent(name));
  if (!response.ok) { showError(await response.json()); return; }
  studio.info = await response.json();
  studio.parameters = parameters !== undefined ? parameters : Object.assign({}, studio.info.start || {});
  $('class-name').textContent = studio.info.name;
  $('class-description').textContent = studio.info.description || studio.info.summary || '';
  $('class-tosee').textContent = studio.info.toSee ? 'To see it: ' + studio.info.toSee : '';
  $('look-buttons').hidden = false;
  buildInspector();
  renderClassList();
  refresh();
}

// ---------------------------------------------------------------------------------------------
// Parameter widgets

function setParameter(p, value) {
  studio.parameters[p.name] = value;
  const row = document.querySelector(`.param[data-name="${CSS.escape(p.name)}"]`);
  if (row) row.classList.add('changed');
  refresh();
}

function resetParameters(names) {
  for (const name of names) delete studio.parameters[name];
  buildInspector();
  refresh();
}

function numberInput(value, onChange, className) {
  const input = document.createElement('input');
  input.type = 'text';
  input.inputMode = 'decimal';
  input.value = value;
  if (className) input.className = className;
  input.addEventListener('change', () => onChange(typedNumber(input.value)));
  return input;
}

function floatWidget(p, box) {
  const [low, high] = sliderRange(p);
  const slider = document.createElement('input');
  slider.type = 'range';
  slider.min = low; slider.max = high; slider.step = (high - low) / 200;
  slider.value = currentValue(p);
  const field = numberInput(currentValue(p), (v) => { if (typeof v === 'number') slider.value = v; setParameter(p, v); });
  slider.addEventListener('input', () => { field.value = slider.value; setParameter(p, Number(slider.value)); });
  box.append(slider, field);
}

function intWidget(p, box) {
  if (Array.isArray(p.labels) && p.labels.length) {
    const select = document.createElement('select');
    const value = currentValue(p);
    const known = p.labels.some((l) => l.value === value);
    for (const l of known ? p.labels : [{value, label: String(value)}].concat(p.labels)) {
      const option = new Option(`${l.label} (${l.value})`, l.value);
      option.selected = l.value === value;
      select.add(option);
    }
    select.addEventListener('change', () => setParameter(p, Number(select.value)));
    box.append(select);
  } else {
    box.append(numberInput(currentValue(p), (v) => setParameter(p, v)));
  }
}

function vectorWidget(p, box) {
  const value = currentValue(p);
  const values = Array.isArray(value) ? value.slice() : [];
  if (isColour(p)) {
    const picker = document.createElement('input');
    picker.type = 'color';
    picker.value = hexFromLinear(values);
    picker.addEventListener('input', () => {
      const rgb = linearFromHex(picker.value);
      const next = rgb.concat(values.slice(3));
      fields.forEach((f, i) => { f.value = next[i]; });
      setParameter(p, next);
    });
    box.append(picker);
  }
  const fields = values.map((v, i) => numberInput(v, (typed) => {
    const next = fields.map((f) => typedNumber(f.value));
    next[i] = typed;
    const picker = box.querySelector('input[type=color]');
    if (picker && next.slice(0, 3).every((x) => typeof x === 'number')) picker.value = hexFromLinear(next);
    setParameter(p, next);
  }, 'component'));
  box.append(...fields);
}

function textureWidget(p, box) {
  const select = document.createElement('select');
  const value = currentValue(p);
  select.add(new Option('(none)', ''));
  for (const image of studio.images) select.add(new Option(image, image, false, value === image));
  if (Array.isArray(value)) select.add(new Option('(texel array)', '__texels', false, true));
  select.addEventListener('change', () => {
    if (select.value !== '__texels') setParameter(p, select.value === '' ? null : select.value);
  });
  box.append(select);
}

function matrixWidget(p, box) {
  const input = document.createElement('input');
  input.type = 'text';
  input.className = 'matrix';
  input.value = JSON.stringify(currentValue(p));
  input.addEventListener('change', () => {
    let value;
    try { value = JSON.parse(input.value); } catch (e) { value = input.value; }
    setParameter(p, value);
  });
  box.append(input);
}

function parameterRow(p) {
  const row = document.createElement('div');
  row.className = 'param';
  row.dataset.name = p.name;
  if (Object.prototype.hasOwnProperty.call(studio.parameters, p.name)) row.classList.add('changed');
  const label = document.createElement('label');
  label.textContent = p.name;
  const help = [p.meaning, `${p.type}${p.kind ? ', ' + p.kind : ''}${p.unit ? ' in ' + p.unit : ''}`,
                'default ' + JSON.stringify(p.default),
                Array.isArray(p.hardRange) ? `accepts ${p.hardRange[0] ?? '-∞'} to ${p.hardRange[1] ?? '∞'}` : '',
                p.drivenBy ? 'driven by ' + p.drivenBy : ''];
  row.title = help.filter(Boolean).join('\n');
  const box = document.createElement('div');
  box.className = 'widget';
  if (p.type === 'bool') {
    const check = document.createElement('input');
    check.type = 'checkbox';
    check.checked = currentValue(p) === true;
    check.addEventListener('change', () => setParameter(p, check.checked));
    box.append(check);
  } else if (p.type === 'int') intWidget(p, box);
  else if (p.type === 'float') floatWidget(p, box);
  else if (/^float[234]$/.test(p.type)) vectorWidget(p, box);
  else if (/texture/.test(p.type)) textureWidget(p, box);
  else matrixWidget(p, box);
  const reset = document.createElement('button');
  reset.type = 'button';
  reset.className = 'reset';
  reset.textContent = '↺';
  reset.title = 'Reset to the default ' + JSON.stringify(p.default);
  reset.addEventListener('click', () => resetParameters([p.name]));
  const error = document.createElement('span');
  error.className = 'error';
  row.append(label, box, reset, error);
  return row;
}

function buildInspector() {
  const container = $('parameters');
  const open = new Set([...container.querySelectorAll('details[open]')].map((d) => d.dataset.group));
  container.textContent = '';
  const groups = new Map();
  for (const p of studio.info.parameters) {
    const group = groupOf(p);
    if (!groups.has(group)) groups.set(group, []);
    groups.get(group).push(p);
  }
  let first = true;
  for (const [group, members] of groups) {
    const details = document.createElement('details');
    details.dataset.group = group;
    details.open = open.size ? open.has(group) : (first || members.some((p) => p.name in studio.parameters));
    first = false;
    const summary = document.createElement('summary');
    summary.textContent = `${group} (${members.length})`;
    const reset = document.createElement('button');
    reset.type = 'button';
    reset.textContent = 'reset group';
    reset.title = 'Every parameter of this group back to its default';
    reset.addEventListener('click', (event) => { event.preventDefault(); resetParameters(members.map((p) => p.name)); });
    summary.append(reset);
    details.append(summary, ...members.map(parameterRow));
    container.append(details);
  }
}

// ---------------------------------------------------------------------------------------------
// A/B compare, export and import

function updateWipe() {
  const percent = Number($('wipe').value);
  $('snapshot').style.clipPath = `inset(0 ${100 - percent}% 0 0)`;
  $('wipe-line').style.left = `calc(${percent}% - 1px)`;
}

function takeSnapshot() {
  const frame = $('frame');
  if (!frame.src) return;
  fetch(frame.src).then((r) => r.blob()).then((blob) => {
    const snapshot = $('snapshot');
    if (snapshot.src) URL.revokeObjectURL(snapshot.src);
    snapshot.src = URL.createObjectURL(blob);
    snapshot.hidden = $('wipe-line').hidden = $('wipe-label').hidden = $('clear-snapshot').hidden = false;
    updateWipe();
  });
}

function clearSnapshot() {
  $('snapshot').hidden = $('wipe-line').hidden = $('wipe-label').hidden = $('clear-snapshot').hidden = true;
}

async function exportScene() {
  if (!studio.info) return;
  const response = await api('/api/scene', lookRequest(stageSettings()));
  if (!response.ok) { showError(await response.json()); return; }
  studio.lastExport = await response.text();
  const link = $('download');
  if (link.href) URL.revokeObjectURL(link.href);
  link.href = URL.createObjectURL(new Blob([studio.lastExport], {type: 'application/json'}));
  link.download = studio.info.name + '-look.json';
  link.click();
  setStatus('Exported ' + link.download + ': kestrel-render ' + link.download + ' -o look.png renders this frame');
}

function applyStage(stage) {
  for (const key of ['scene', 'environment', 'lights', 'mode', 'samples', 'size', 'seed']) {
    if (stage[key] === undefined) continue;
    const control = $('stage-' + key);
    if (key === 'size' && ![...control.options].some((o) => o.value === String(stage.size))) {
      control.add(new Option(stage.size, stage.size));
    }
    control.value = stage[key];
  }
}

async function importScene(file) {
  let scene;
  try { scene = JSON.parse(await file.text()); } catch (error) {
    setStatus('Not imported: ' + file.name + ' is not JSON (' + error.message + ')');
    return;
  }
  const response = await api('/api/import', scene);
  const answer = await response.json();
  if (!response.ok) { setStatus('Not imported: ' + answer.error); return; }
  applyStage(answer.stage);
  await chooseClass(answer.class, answer.parameters);
  setStatus('Imported ' + file.name);
}

// ---------------------------------------------------------------------------------------------

async function start() {
  const [classes, images] = await Promise.all([api('/api/classes').then((r) => r.json()),
                                               api('/api/assets').then((r) => r.json())]);
  studio.classes = classes.classes;
  studio.images = images.images;
  renderClassList();
  setStatus(classes.catalogue ? 'Pick a material class' : 'Pick a material class (no catalogue installed: widgets follow the types)');
  $('class-search').addEventListener('input', renderClassList);
  for (const id of ['stage-scene', 'stage-environment', 'stage-lights', 'stage-mode', 'stage-samples', 'stage-size', 'stage-seed']) {
    $(id).addEventListener('change', refresh);
  }
  $('reset-all').addEventListener('click', () => resetParameters(Object.keys(studio.parameters)));
  $('gallery-look').addEventListener('click', () => { studio.parameters = Object.assign({}, studio.info.start || {}); buildInspector(); refresh(); });
  $('take-snapshot').addEventListener('click', takeSnapshot);
  $('clear-snapshot').addEventListener('click', clearSnapshot);
  $('wipe').addEventListener('input', updateWipe);
  $('export').addEventListener('click', exportScene);
  $('import').addEventListener('change', (event) => { if (event.target.files[0]) importScene(event.target.files[0]); event.target.value = ''; });
}

start().catch((error) => setStatus('The studio could not start: ' + error.message));
