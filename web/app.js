// The page of `wkcache serve`: the viewport and the panels of one served scene, kept in step
// with the server's state (any page's change shows in every page).
import { call, frame } from './api.js';
import { Viewport } from './viewport.js';
import { renderControls, renderRollouts } from './panels.js';
import { KIND_POSITIONS } from './frame.js';

const $ = (id) => document.getElementById(id);
const viewport = new Viewport($('viewport'));
const slider = $('time');

// What tests and measurements read.
const wk = window.wk = {
  state: null, time: 0, playing: false, framesShown: 0, ready: false,
  stats: { fps: 0, bytesPerFrame: 0, fastFrames: 0, fullFrames: 0 },
  checksum: () => viewport.checksum(),
  vertexCount: () => (viewport.mesh ? viewport.mesh.geometry.getAttribute('position').count : 0),
};

let version = 0;
let inFlight = false;
let wanted = null; // the time of the frame to fetch next

async function refresh() {
  const state = await call('GET', '/api/state');
  apply(state);
}

function apply(state) {
  // Answers can arrive out of order (a poll sent before an action, answered after it): a state
  // older than the one shown would undo the action on the page until the next change.
  if (state.version < version) return;
  wk.state = state;
  version = state.version;
  const tpf = state.ticksPerFrame;
  slider.min = Math.floor(state.animRange[0] / tpf);
  slider.max = Math.floor(state.animRange[1] / tpf);
  if (!wk.ready) setTime(state.time);
  renderRollouts($('panels'), state.rollouts, act);
  showModal(state);
  document.querySelectorAll('.levels button').forEach((b) =>
    b.classList.toggle('on', Number(b.dataset.level) === state.level));
  viewport.setLevel(state.level);
  viewport.setGizmo(state.level === 2 ? state.gizmo : null);
  $('gizmo-modes').hidden = state.level !== 2;
  $('undo').disabled = state.undo === null;
  $('undo').title = state.undo ? `Undo ${state.undo} (Ctrl-Z)` : 'Nothing to undo';
  $('redo').disabled = !state.redo;
}

async function act(action) {
  try {
    await call('POST', '/api/action', action);
  } catch (e) {
    console.warn(e.message);
  }
  await refresh();
  requestFrame(wk.time);
}

// ---- Time and frames

function setTime(t) {
  wk.time = t;
  const tpf = wk.state ? wk.state.ticksPerFrame : 160;
  slider.value = Math.floor(t / tpf);
  $('clock').textContent = `Frame ${String(Math.floor(t / tpf)).padStart(4)}  Tick ${String(t).padStart(6)}`;
}

function requestFrame(t) {
  wanted = t;
  if (!inFlight) pump();
}

async function pump() {
  while (wanted !== null) {
    const t = wanted;
    wanted = null;
    inFlight = true;
    try {
      const shown = viewport.show(await frame(t, viewport.topology || '0', viewport.overlayKey));
      wk.framesShown++;
      if (shown.kind === KIND_POSITIONS) {
        wk.stats.fastFrames++;
        wk.stats.bytesPerFrame = shown.bytes;
      } else {
        wk.stats.fullFrames++;
      }
      wk.ready = true;
    } catch (e) {
      console.warn(e.message);
    }
    inFlight = false;
  }
}

slider.addEventListener('input', () => {
  setTime(Number(slider.value) * wk.state.ticksPerFrame);
  requestFrame(wk.time);
});

// Playback at the scene's frame rate: the time follows the clock, and a frame is asked for
// whenever the previous one has arrived, so a slow link drops frames rather than lagging.
let playStart = 0, playFrom = 0, counted = 0, countStart = 0;
function tick(now) {
  if (!wk.playing) return;
  const s = wk.state;
  const first = Math.floor(s.animRange[0] / s.ticksPerFrame), last = Math.floor(s.animRange[1] / s.ticksPerFrame);
  const span = last - first + 1;
  const f = first + ((playFrom - first + Math.floor(((now - playStart) / 1000) * s.frameRate)) % span);
  if (!inFlight) {
    setTime(f * s.ticksPerFrame);
    requestFrame(wk.time);
  }
  if (now - countStart >= 1000) {
    wk.stats.fps = ((wk.framesShown - counted) * 1000) / (now - countStart);
    counted = wk.framesShown;
    countStart = now;
    $('stats').textContent = `${wk.stats.fps.toFixed(1)} fps  ${wk.stats.bytesPerFrame} B/frame`;
  }
  requestAnimationFrame(tick);
}

$('play').addEventListener('click', () => {
  wk.playing = !wk.playing;
  $('play').textContent = wk.playing ? 'Pause' : 'Play';
  if (wk.playing) {
    playStart = countStart = performance.now();
    playFrom = Number(slider.value);
    counted = wk.framesShown;
    requestAnimationFrame(tick);
  }
});

// ---- Levels and picking

document.querySelectorAll('.levels button').forEach((b) => b.addEventListener('click', async () => {
  await call('POST', '/api/level', { level: Number(b.dataset.level) });
  await refresh();
  requestFrame(wk.time);
}));

const canvas = $('viewport');
let drag = null;
canvas.addEventListener('pointerdown', (e) => {
  if (e.button !== 0 || !wk.state || wk.state.level !== 1) return;
  drag = { x0: e.offsetX, y0: e.offsetY, x1: e.offsetX, y1: e.offsetY };
});
canvas.addEventListener('pointermove', (e) => {
  if (!drag) return;
  drag.x1 = e.offsetX;
  drag.y1 = e.offsetY;
  const box = $('box');
  box.hidden = false;
  Object.assign(box.style, {
    left: `${Math.min(drag.x0, drag.x1)}px`, top: `${Math.min(drag.y0, drag.y1)}px`,
    width: `${Math.abs(drag.x1 - drag.x0)}px`, height: `${Math.abs(drag.y1 - drag.y0)}px` });
});
canvas.addEventListener('pointerup', async (e) => {
  if (!drag) return;
  const d = drag;
  drag = null;
  $('box').hidden = true;
  // Ctrl adds to the selection, Alt takes away; a small drag is a click.
  const click = Math.abs(d.x1 - d.x0) < 3 && Math.abs(d.y1 - d.y0) < 3;
  await call('POST', '/api/pick', {
    ...viewport.cameraForPick(), time: wk.time,
    x0: Math.min(d.x0, d.x1), y0: Math.min(d.y0, d.y1),
    x1: click ? Math.min(d.x0, d.x1) : Math.max(d.x0, d.x1), y1: click ? Math.min(d.y0, d.y1) : Math.max(d.y0, d.y1),
    mode: e.ctrlKey ? 'add' : e.altKey ? 'remove' : 'replace', crossing: true,
  }).catch((err) => console.warn(err.message));
  await refresh();
  requestFrame(wk.time);
});

// The gizmo's handles: a released drag is one change on the server.
viewport.onGizmo = async (change) => {
  await call('POST', '/api/gizmo', { time: wk.time, ...change }).catch((err) => console.warn(err.message));
  await refresh();
  requestFrame(wk.time);
};
document.querySelectorAll('#gizmo-modes button').forEach((b) => b.addEventListener('click', () => {
  viewport.setGizmoMode(b.dataset.mode);
  document.querySelectorAll('#gizmo-modes button').forEach((o) => o.classList.toggle('on', o === b));
}));

// ---- Undo, redo, save

async function undo(redo) {
  await call('POST', redo ? '/api/redo' : '/api/undo', {}).catch((err) => console.warn(err.message));
  await refresh();
  requestFrame(wk.time);
}
$('undo').addEventListener('click', () => undo(false));
$('redo').addEventListener('click', () => undo(true));
document.addEventListener('keydown', (e) => {
  if (!(e.ctrlKey || e.metaKey) || e.target.matches('input[type=text], input[type=number]')) return;
  const key = e.key.toLowerCase();
  if (key === 'z' || key === 'y') {
    e.preventDefault();
    undo(key === 'y');
  }
});

// ---- Modal dialogs: the host's dialogs and questions, and the page's own save prompts

let pageDialog = null; // a dialog of the page itself, shown while the host shows none

function dialogFrame(title) {
  const box = $('dialog');
  box.replaceChildren();
  const h = document.createElement('h2');
  h.textContent = title;
  box.append(h);
  $('modal').hidden = false;
  return box;
}

function buttons(box, list) {
  const row = document.createElement('div');
  row.className = 'buttons';
  for (const [text, handler] of list) {
    const b = document.createElement('button');
    b.textContent = text;
    b.addEventListener('click', handler);
    row.append(b);
  }
  box.append(row);
}

async function fileList(box, dialog) {
  const list = document.createElement('div');
  list.className = 'files';
  box.append(list);
  const { folder, files } = await call('GET', '/api/files');
  const ext = dialog.file.extension ? `.${dialog.file.extension}` : '';
  for (const f of files.filter((n) => !ext || n.endsWith(ext))) {
    const row = document.createElement('div');
    row.textContent = f;
    // The chosen file goes into the dialog's name field, as typed.
    row.addEventListener('click', () => act({ do: 'type', id: 1152, text: `${folder}/${f}` }));
    list.append(row);
  }
}

let shownDialog = '';
function showModal(state) {
  if (state.question) {
    const q = state.question;
    const key = `q:${q.title}:${q.text}`;
    if (shownDialog === key) return;
    shownDialog = key;
    const box = dialogFrame(q.title);
    const p = document.createElement('p');
    p.textContent = q.text;
    box.append(p);
    const answer = (n) => () => call('POST', '/api/answer', { answer: n }).then(refresh);
    buttons(box, q.yesNo ? [['Yes', answer(6)], ['No', answer(7)]] : [['OK', answer(1)]]);
    return;
  }
  const dialog = state.dialogs[state.dialogs.length - 1];
  if (dialog) {
    const key = `d:${state.dialogs.length}:${dialog.dialogId}:${dialog.title}`;
    if (shownDialog !== key) {
      shownDialog = key;
      const box = dialogFrame(dialog.title);
      const controls = document.createElement('div');
      controls.className = 'controls';
      box.append(controls);
      if (dialog.file) fileList(box, dialog);
    }
    renderControls($('dialog').querySelector('.controls'), dialog.controls, act);
    return;
  }
  if (state.pick) {
    // A pick mode: the page's viewport shows only the cache object, so the scene's nodes are
    // listed to click on instead; Done is a click on nothing, which ends the mode.
    const key = `p:${state.pick.prompt}:${state.pick.nodes.map((n) => `${n.name}${n.pickable}`).join('/')}`;
    if (shownDialog === key) return;
    shownDialog = key;
    const box = dialogFrame(state.pick.prompt || 'Pick a node');
    const list = document.createElement('div');
    list.className = 'files nodes';
    state.pick.nodes.forEach((n, i) => {
      const row = document.createElement('div');
      row.textContent = n.name;
      row.dataset.node = i;
      if (n.pickable) row.addEventListener('click', () => act({ do: 'clickNode', node: i }));
      else row.className = 'off';
      list.append(row);
    });
    box.append(list);
    buttons(box, [['Done', () => act({ do: 'clickNode', node: -1 })]]);
    return;
  }
  shownDialog = '';
  if (pageDialog) pageDialog();
  else $('modal').hidden = true;
}

function closePage() {
  pageDialog = null;
  $('modal').hidden = true;
}

function askSave() {
  pageDialog = () => {
    const box = dialogFrame('Save Scene');
    const p = document.createElement('p');
    p.textContent = `A scene file in ${wk.state.folder} (.wks binary, or .json):`;
    const name = document.createElement('input');
    name.type = 'text';
    name.id = 'save-name';
    name.value = 'scene.wks';
    p.append(document.createElement('br'), name);
    box.append(p);
    buttons(box, [['Save', () => save(name.value, false)], ['Cancel', closePage]]);
  };
  pageDialog();
}

async function save(name, overwrite) {
  try {
    const done = await call('POST', '/api/save', { name, overwrite });
    closePage();
    $('stats').textContent = `saved ${done.saved} (${done.bytes} bytes)`;
    wk.saved = done.saved;
  } catch (e) {
    if (e.status === 409 && e.message === 'exists') {
      pageDialog = () => {
        const box = dialogFrame('Save Scene');
        const p = document.createElement('p');
        p.textContent = `${name} exists already.\nDo you want to replace it?`;
        box.append(p);
        buttons(box, [['Yes', () => save(name, true)], ['No', askSave]]);
      };
      pageDialog();
    } else {
      alert(e.message);
    }
  }
}
$('save').addEventListener('click', askSave);

// ---- Two pages, one scene: a change made elsewhere shows here within a moment.

async function poll() {
  try {
    const state = await call('GET', `/api/state?since=${version}`);
    if (state) {
      apply(state);
      if (!wk.playing) requestFrame(wk.time);
    }
  } catch (e) {
    console.warn(e.message);
  }
  setTimeout(poll, 500);
}

refresh().then(() => { requestFrame(wk.time); poll(); });
