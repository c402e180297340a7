// End to end in a real browser: `wkcache serve` on the demo cache in a scene with two boxes,
// driven through Debian's chromium by puppeteer-core. The page must draw, play, select, group,
// undo, pick and add nodes to record, and save; the saved scene is then read back by
// `wkcache scene dump`. Also prints the playback rate and the bytes of a fast-path frame.
//
//   node e2e/serve_e2e.mjs WKCACHE SCRATCH_DIR [--screenshot OUT.png] [--cache BIG.wkc]
import { spawn, execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import puppeteer from 'puppeteer-core';

const [wkcache, scratch] = process.argv.slice(2);
const option = (name) => {
  const i = process.argv.indexOf(name);
  return i > 0 ? process.argv[i + 1] : undefined;
};
const chromium = process.env.CHROMIUM || '/usr/bin/chromium';
let failures = 0;
function check(ok, what) {
  console.log(`${ok ? 'ok  ' : 'FAIL'} ${what}`);
  if (!ok) failures++;
}

// Starts the server on `file` and answers it with its URL.
async function serve(file) {
  const server = spawn(wkcache, ['serve', file], { stdio: ['ignore', 'pipe', 'inherit'] });
  const url = await new Promise((resolve, reject) => {
    let out = '';
    server.stdout.on('data', (d) => {
      out += d;
      const m = out.match(/http:\/\/\S+token=[0-9a-f]+/);
      if (m) resolve(m[0]);
    });
    server.on('exit', (code) => reject(new Error(`wkcache serve exited with ${code}`)));
  });
  return { server, url };
}

async function stop(server) {
  const code = await new Promise((resolve) => {
    server.removeAllListeners('exit');
    server.on('exit', (c) => resolve(c));
    server.kill('SIGINT');
  });
  return code;
}

// Plays for `seconds` and answers the page's figures.
async function measure(page, seconds) {
  await page.click('.levels button[data-level="0"]');
  await waitState(page, () => window.wk.state.level === 0);
  await page.click('#play');
  await new Promise((r) => setTimeout(r, seconds * 1000));
  const stats = await page.evaluate(() => ({ ...window.wk.stats, verts: window.wk.vertexCount() }));
  await page.click('#play');
  return stats;
}

async function openPage(browser, url) {
  const page = await browser.newPage();
  await page.setViewport({ width: 1280, height: 800 });
  page.on('pageerror', (e) => { console.log(`page error: ${e.message}`); failures++; });
  await page.goto(url);
  await page.waitForFunction(() => window.wk && window.wk.ready, { timeout: 20000, polling: 100 });
  return page;
}

// Polled by time: a page in the background draws no animation frames.
const waitState = (page, test, arg) => page.waitForFunction(test, { timeout: 30000, polling: 100 }, arg);
const control = (id) => `#panels [data-id="${id}"]`;

fs.mkdirSync(scratch, { recursive: true });
const demo = path.join(scratch, 'demo.wkc');
execFileSync(wkcache, ['demo', '-o', demo], { stdio: 'ignore' });
fs.rmSync(path.join(scratch, 'saved.wks'), { force: true });
// The demo cache in a scene with two boxes, for the Record rollout to pick and add.
const boxNode = (name) => ({ name, object: { type: 'box', width: 10, length: 10, height: 10 } });
const sceneFile = path.join(scratch, 'demo.json');
fs.writeFileSync(sceneFile, JSON.stringify({
  wkcacheScene: 1,
  nodes: [{ name: 'WK Cache', object: { type: 'cache', fileName: path.resolve(demo) } }, boxNode('Crate'), boxNode('Flag')],
}));

const browser = await puppeteer.launch({
  executablePath: chromium,
  headless: true,
  args: ['--no-sandbox', '--use-angle=swiftshader', '--enable-unsafe-swiftshader'],
});
const { server, url } = await serve(sceneFile);
let selected = 0;
try {
  const page = await openPage(browser, url);

  // The canvas shows something besides the background.
  const drawn = await page.evaluate(() => {
    const c = document.getElementById('viewport');
    const g = document.createElement('canvas');
    g.width = c.width; g.height = c.height;
    const ctx = g.getContext('2d');
    ctx.drawImage(c, 0, 0);
    const d = ctx.getImageData(0, 0, g.width, g.height).data;
    let other = 0;
    for (let i = 0; i < d.length; i += 4)
      if (Math.abs(d[i] - d[0]) + Math.abs(d[i + 1] - d[1]) + Math.abs(d[i + 2] - d[2]) > 30) other++;
    return other / (d.length / 4);
  });
  check(drawn > 0.01, `the viewport is drawn (${(drawn * 100).toFixed(1)}% of the pixels are not background)`);

  // The time slider moves the vertices.
  const before = await page.evaluate(() => window.wk.checksum());
  await page.$eval('#time', (s) => { s.value = 45; s.dispatchEvent(new Event('input')); });
  await waitState(page, () => window.wk.time === 45 * window.wk.state.ticksPerFrame && Math.abs(window.wk.checksum()) > 0);
  await waitState(page, (b) => window.wk.checksum() !== b, before);
  check(await page.evaluate((b) => window.wk.checksum() !== b, before), 'moving the time slider moves the vertices');
  const shot = option('--screenshot');
  if (shot) await page.screenshot({ path: shot });

  // A second page sees what the first one does.
  const other = await openPage(browser, url);
  await page.bringToFront();

  // Select every element with a box at the Elements level.
  await page.click('.levels button[data-level="1"]');
  await waitState(page, () => window.wk.state.level === 1);
  const box = await (await page.$('#viewport')).boundingBox();
  await page.mouse.move(box.x + 5, box.y + 5);
  await page.mouse.down();
  await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2, { steps: 4 });
  await page.mouse.move(box.x + box.width - 5, box.y + box.height - 5, { steps: 4 });
  await page.mouse.up();
  await waitState(page, () => window.wk.state.selection > 0);
  selected = await page.evaluate(() => window.wk.state.selection);
  check(selected > 0, `a box selects elements (${selected})`);

  // A new group of the selection, named in the Group Name dialog.
  await page.click(`${control(1069)} button`);
  await page.waitForSelector('#dialog [data-id="1068"] input', { visible: true });
  // Focused before it is cleared: a state update redraws the field's text only while it has no
  // focus, and one arriving between clearing and typing would put the default name back.
  await page.$eval('#dialog [data-id="1068"] input', (i) => { i.focus(); i.value = ''; });
  await page.type('#dialog [data-id="1068"] input', 'Falling');
  await page.keyboard.press('Tab');
  await waitState(page, () => window.wk.state.dialogs.at(-1)?.controls.find((c) => c.id === 1068)?.text === 'Falling');
  await page.click('#dialog [data-id="1"] button');
  await waitState(page, () => window.wk.state.dialogs.length === 0 &&
    window.wk.state.rollouts.some((r) => r.controls.some((c) => c.id === 1070 && c.rows.some((x) => x.text.startsWith('Falling')))));
  check(true, 'the Group Name dialog makes the group "Falling"');
  await waitState(other, () => window.wk.state.rollouts.some((r) => r.controls.some((c) => c.id === 1070 && c.rows.length > 0)));
  check(true, 'the second page shows the new group');

  // Its action: Offset, then Hold In (a new group holds in already), then Hold In undone
  // with Ctrl-Z.
  const action = () => page.evaluate(() => {
    const c = window.wk.state.rollouts.flatMap((r) => r.controls).find((x) => x.id === 1071);
    return c.rows[c.selected]?.text;
  });
  const choose = async (text) => {
    await page.select(`${control(1071)} select`, text);
    await waitState(page, (t) => {
      const c = window.wk.state.rollouts.flatMap((r) => r.controls).find((x) => x.id === 1071);
      return c.rows[c.selected]?.text === t;
    }, text);
  };
  await choose('Offset');
  await choose('Hold In');
  check((await action()) === 'Hold In', 'the group\'s action is set to Hold In');
  await page.evaluate(() => document.activeElement.blur());
  await page.keyboard.down('Control');
  await page.keyboard.press('z');
  await page.keyboard.up('Control');
  await waitState(page, () => {
    const c = window.wk.state.rollouts.flatMap((r) => r.controls).find((x) => x.id === 1071);
    return c.rows[c.selected]?.text !== 'Hold In';
  }).catch(() => {});
  const undone = await action();
  check(undone === 'Offset', `Ctrl-Z undoes it (${undone})`);

  // Pick: the page lists the scene's nodes; a click on one adds it, Done ends the mode.
  const nodeRows = () => page.evaluate(() =>
    window.wk.state.rollouts.flatMap((r) => r.controls).find((c) => c.id === 1004).rows.map((r) => r.text));
  await page.click(`${control(1005)} button`);
  await page.waitForSelector('#dialog .nodes div', { visible: true });
  await page.evaluate(() => Array.from(document.querySelectorAll('#dialog .nodes div')).find((d) => d.textContent === 'Crate').click());
  await waitState(page, () => window.wk.state.rollouts.some((r) => r.controls.some((c) => c.id === 1004 && c.rows.length === 1)));
  await page.evaluate(() => Array.from(document.querySelectorAll('#dialog button')).find((b) => b.textContent === 'Done').click());
  await waitState(page, () => window.wk.state.pick === null);
  check((await nodeRows()).join() === 'Crate', `Pick adds the node clicked in the page's list (${await nodeRows()})`);

  // Add..: the select-by-name dialog offers what is not listed yet; Flag is marked and added.
  await page.click(`${control(1006)} button`);
  await page.waitForSelector('#dialog select', { visible: true });
  await page.select('#dialog select', 'Flag');
  await page.click('#dialog [data-id="1"] button');
  await waitState(page, () => window.wk.state.dialogs.length === 0);
  check((await nodeRows()).join() === 'Crate,Flag', `Add.. adds the node chosen by name (${await nodeRows()})`);

  // Save the scene into the served folder.
  await page.click('#save');
  await page.waitForSelector('#save-name');
  await page.$eval('#save-name', (i) => { i.value = 'saved.wks'; });
  await page.evaluate(() => Array.from(document.querySelectorAll('#dialog button')).find((b) => b.textContent === 'Save').click());
  await waitState(page, () => window.wk.saved === 'saved.wks');
  check(fs.existsSync(path.join(scratch, 'saved.wks')), 'the scene is saved');

  const demoStats = await measure(page, 4);
  console.log(`demo: ${demoStats.verts} vertices, ${demoStats.fps.toFixed(1)} frames/s, ${demoStats.bytesPerFrame} bytes per fast-path frame`);
  await other.close();
  await page.close();
} finally {
  const code = await stop(server);
  check(code === 0, `Ctrl-C stops the server cleanly (exit ${code})`);
}

// The saved scene, as wkcache reads it: the group with its elements, its action back to the
// one it had before Hold In.
const dump = JSON.parse(execFileSync(wkcache, ['scene', 'dump', '--json', path.join(scratch, 'saved.wks')]));
const groups = [];
const walk = (chunk) => { if (chunk.groups) groups.push(...chunk.groups); (chunk.chunks || []).forEach(walk); };
walk(dump);
const falling = groups.find((g) => g.name === 'Falling');
check(falling !== undefined, 'wkcache finds the group in the saved scene');
check(falling && falling.mode === 'Offset', `its action is the one before Hold In (${falling && falling.mode})`);
check(falling && falling.elements && falling.elements.length === selected, `it holds the selected elements (${falling && falling.elements && falling.elements.length})`);

const big = option('--cache');
if (big) {
  const { server: bigServer, url: bigUrl } = await serve(big);
  const page = await openPage(browser, bigUrl);
  const stats = await measure(page, 5);
  console.log(`${path.basename(big)}: ${stats.verts} vertices, ${stats.fps.toFixed(1)} frames/s, ${stats.bytesPerFrame} bytes per fast-path frame`);
  await page.close();
  await stop(bigServer);
}
await browser.close();
console.log(failures === 0 ? 'all passed' : `${failures} failed`);
process.exit(failures === 0 ? 0 : 1);
