// The panel host's rollouts and dialogs drawn from its state, control by control. Each user
// action goes back as the PanelDriver action the tests use: press, type, choose, mark,
// doubleClick. A control that keeps its id keeps its element, so a field being typed into is
// not disturbed by the state that arrives meanwhile.

function paint(canvas, painted, text) {
  canvas.width = painted.width;
  canvas.height = painted.height;
  const g = canvas.getContext('2d');
  const image = g.createImageData(painted.width, painted.height);
  let p = 0;
  for (let i = 0; i < painted.runs.length; i += 2) {
    const c = painted.runs[i];
    for (let n = 0; n < painted.runs[i + 1]; ++n, p += 4) {
      image.data[p] = (c >> 16) & 255;
      image.data[p + 1] = (c >> 8) & 255;
      image.data[p + 2] = c & 255;
      image.data[p + 3] = 255;
    }
  }
  g.putImageData(image, 0, 0);
  g.fillStyle = '#000';
  g.font = '11px sans-serif';
  g.fillText(text, 4, painted.height - 6);
}

// The element of one control, made for its kind; `act` sends an action.
function make(c, act) {
  const wrap = document.createElement('span');
  wrap.className = 'control';
  wrap.dataset.id = c.id;
  const shift = (e) => e.shiftKey === true;
  let input;
  switch (c.kind) {
    case 'button': case 'pickButton': case 'checkButton':
      input = document.createElement('button');
      input.addEventListener('click', (e) => act({ do: 'press', id: c.id, shift: shift(e) }));
      break;
    case 'checkBox': case 'radio': {
      input = document.createElement('input');
      input.type = c.kind === 'radio' ? 'radio' : 'checkbox';
      input.addEventListener('click', (e) => { e.preventDefault(); act({ do: 'press', id: c.id, shift: shift(e) }); });
      const label = document.createElement('label');
      label.append(input, document.createElement('span'));
      wrap.append(label);
      wrap.input = input;
      return wrap;
    }
    case 'edit':
      input = document.createElement('input');
      input.type = c.spinnerId ? 'number' : 'text';
      input.step = 'any';
      input.addEventListener('change', () => act({ do: 'type', id: c.id, text: String(input.value) }));
      break;
    case 'comboBox':
      input = document.createElement('select');
      input.addEventListener('change', () => act({ do: 'choose', id: c.id, row: input.selectedIndex }));
      break;
    case 'listBox':
      input = document.createElement('select');
      input.multiple = true;
      wrap.classList.add('wide');
      input.addEventListener('change', () => {
        const rows = Array.from(input.selectedOptions, (o) => o.index);
        act(rows.length === 1 ? { do: 'choose', id: c.id, row: rows[0] } : { do: 'mark', id: c.id, rows });
      });
      input.addEventListener('dblclick', () => {
        if (input.selectedIndex >= 0) act({ do: 'doubleClick', id: c.id, row: input.selectedIndex });
      });
      break;
    case 'status':
      input = document.createElement('canvas');
      wrap.classList.add('wide');
      break;
    default:
      input = document.createElement('span');
  }
  if (c.param) {
    const label = document.createElement('label');
    label.textContent = c.param;
    wrap.append(label);
  }
  wrap.append(input);
  wrap.input = input;
  return wrap;
}

function update(wrap, c) {
  const input = wrap.input;
  wrap.hidden = !c.visible;
  if (c.tooltip !== undefined) wrap.title = c.tooltip;
  if ('disabled' in input) input.disabled = !c.enabled;
  const focused = document.activeElement === input;
  switch (c.kind) {
    case 'button': case 'pickButton': case 'checkButton':
      input.textContent = c.text || c.tooltip || `#${c.id}`;
      input.classList.toggle('on', c.checked === true);
      break;
    case 'checkBox': case 'radio':
      input.checked = c.checked;
      wrap.querySelector('label span').textContent = c.text;
      break;
    case 'edit':
      if (!focused) input.value = c.text;
      break;
    case 'comboBox': case 'listBox': {
      const texts = c.rows.map((r) => r.text);
      if (Array.from(input.options, (o) => o.text).join('\n') !== texts.join('\n')) {
        input.replaceChildren(...texts.map((t) => new Option(t)));
      }
      c.rows.forEach((r, i) => { input.options[i].selected = c.kind === 'listBox' ? r.marked : i === c.selected; });
      if (c.kind === 'comboBox') input.selectedIndex = c.selected;
      break;
    }
    case 'status':
      if (c.painted) paint(input, c.painted, c.text);
      input.title = c.text;
      wrap.dataset.text = c.text;
      break;
    default:
      input.textContent = c.text;
  }
}

// Shows the controls of one window in `box`, keeping the elements of ids it already shows.
export function renderControls(box, controls, act) {
  const ids = controls.filter((c) => c.kind !== 'spinner').map((c) => c.id).join(',');
  if (box.dataset.ids !== ids) {
    box.replaceChildren();
    box.dataset.ids = ids;
    for (const c of controls) if (c.kind !== 'spinner') box.append(make(c, act));
  }
  // By place, not by id: the labels of a dialog share the id -1.
  controls.filter((c) => c.kind !== 'spinner').forEach((c, i) => update(box.children[i], c));
}

// The rollouts, each a collapsible section, in panel order.
export function renderRollouts(aside, rollouts, act) {
  const key = rollouts.map((r) => r.dialogId).join(',');
  if (aside.dataset.rollouts !== key) {
    aside.replaceChildren();
    aside.dataset.rollouts = key;
    for (const r of rollouts) {
      const details = document.createElement('details');
      details.open = !r.closed;
      details.dataset.dialog = r.dialogId;
      const summary = document.createElement('summary');
      summary.textContent = r.title;
      const box = document.createElement('div');
      box.className = 'controls';
      details.append(summary, box);
      aside.append(details);
    }
  }
  rollouts.forEach((r, i) => renderControls(aside.children[i].querySelector('.controls'), r.controls, act));
}
