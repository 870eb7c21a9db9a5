// ptzonvif as an ONVIF client sees it, against the host runner and simulated
// cameras on pseudo-terminals; what reaches the line is read from the
// cameras' decoded frames and the runner's trace.
'use strict';
const assert = require('node:assert/strict');
const {test, before, after} = require('node:test');
const {Board, wsse, ptzctl, sleep, until} = require('./board');

let board, onvif;
before(async () => {
  board = await new Board().start();
  onvif = await board.client();
});
after(() => board && board.stop());

// The head's position after the last frame that matches `frame`, as the camera prints it.
async function headAfter(frame, from) {
  const re = new RegExp(`${frame}.*\\(head at pan (\\d+) tilt (-?\\d+) zoom (\\d+)\\)`, 'g');
  const m = await until(frame, () => [...board.cams.slice(from).matchAll(re)].pop());
  return m.slice(1).map(Number);
}

test('one profile per PTZ channel of the board, with the tokens of its video sources', async () => {
  const {data} = await onvif.call('getProfiles');
  assert.deepEqual(data.map((p) => p.$.token), ['ch0', 'ch1', 'ch2', 'ch3', 'ch4', 'ch5']);
  const sources = (await onvif.call('getVideoSources')).data;
  const tokens = [].concat(sources).map((s) => s.$.token);
  for (const p of data) assert.ok(tokens.includes(p.videoSourceConfiguration.sourceToken));
});

test('a continuous move goes out at its speed and the stop follows it on the line', async () => {
  const from = board.cams.length;
  await onvif.call('continuousMove', {profileToken: 'ch0', x: 0.5, y: 0, zoom: 0});
  await until('the move', () => board.cams.slice(from).includes('addr 1   pan right 32 '));
  const moving = (await onvif.call('getStatus', {profileToken: 'ch0'})).data.moveStatus.panTilt;
  await onvif.call('stop', {profileToken: 'ch0', panTilt: true, zoom: true});
  await headAfter('addr 1   stop', from);
  assert.equal(moving, 'MOVING');
  assert.equal((await onvif.call('getStatus', {profileToken: 'ch0'})).data.moveStatus.panTilt, 'IDLE');
});

test('a timed move stops by itself when its timeout runs out', async () => {
  const start = board.writes('/dev/ttyS2').length;
  await onvif.call('continuousMove', {profileToken: 'ch1', x: -1, y: 0, timeout: 400});
  await until('the stop', () => board.writes('/dev/ttyS2').slice(start).some((w) => w.data === 'ff020000000002'));
  const w = board.writes('/dev/ttyS2').slice(start);
  assert.equal(w[0].data, 'ff0200043f0045');  // left at 63, the highest ordinary speed
  const ms = (w.find((x) => x.data === 'ff020000000002').t - w[0].t) / 1000;
  assert.ok(ms > 380 && ms < 600, `stopped after ${ms} ms`);
});

test('presets keep their names across a restart of ptzonvif', async () => {
  const token = (await onvif.call('setPreset', {profileToken: 'ch0', presetName: 'gate'})).data[0].setPresetResponse[0].presetToken[0];
  await board.restartOnvif();
  onvif = await board.client();
  const presets = (await onvif.call('getPresets', {profileToken: 'ch0'})).data;
  assert.equal(String(presets.gate.$.token), token);
  const from = board.cams.length;
  await onvif.call('gotoPreset', {profileToken: 'ch0', preset: token});
  await headAfter(`addr 1   go to preset ${token} `, from);
});

test('an absolute move reads back through GetStatus within one unit of the camera', async () => {
  // Pelco-D: 0.01 degree for pan (2/36000) and tilt (2/18000), 1/16384 zoom;
  // the C1080PT's Probe lens: tilt 0..9000 below the horizon, zoom 273..5460.
  for (const [ch, pos, unit] of [['ch0', {x: 0.25, y: -0.5, zoom: 0.3}, [2 / 36000, 2 / 18000, 1 / 16384]],
                                 ['ch4', {x: -0.6, y: -0.3, zoom: 0.7}, [2 / 36000, 2 / 9000, 1 / 5187]]]) {
    const from = board.cams.length;
    await onvif.call('absoluteMove', {profileToken: ch, ...pos});
    const {data, xml} = await onvif.call('getStatus', {profileToken: ch});
    assert.match(xml, /<tt:PanTilt /, 'a position read from the camera');
    assert.ok(board.cams.slice(from).includes('-> answer:'), 'the camera was asked');
    assert.ok(Math.abs(data.position.x - pos.x) <= unit[0], `${ch} pan ${data.position.x}`);
    assert.ok(Math.abs(data.position.y - pos.y) <= unit[1], `${ch} tilt ${data.position.y}`);
    assert.ok(Math.abs(data.position.zoom - pos.zoom) <= unit[2], `${ch} zoom ${data.position.zoom}`);
    assert.equal(data.moveStatus.panTilt, 'IDLE');
  }
});

test('a relative move in the field of view lands where the zoom box of that point does', async () => {
  // The daemon's own zoom box of a 2 x 2 box centred on the point (x, y) of the
  // 1920 x 1080 picture brings the head where the same geometry says.
  const place = async () => {
    const from = board.cams.length;
    await onvif.call('absoluteMove', {profileToken: 'ch4', x: 0.1, y: -0.4, zoom: 0.5});
    assert.deepEqual(await headAfter('addr 1   set position', from), [19800, 6300, 2867]);
    return board.cams.length;
  };
  for (const [x, y] of [[0.5, 0.2], [-0.75, -0.6]]) {
    const px = 960 + 480 * x, py = 540 - 270 * y;
    let from = await place();
    ptzctl(board, 'zoombox', '4', String(px - 1), String(py - 1), '2', '2');
    const byBox = await headAfter('addr 1   set position', from);
    from = await place();
    await onvif.call('relativeMove', {profileToken: 'ch4', x, y});
    const byOnvif = await headAfter('addr 1   set position', from);
    // The zoom box truncates the geometry's degrees to the wire, ptzonvif rounds them.
    byOnvif.forEach((v, i) => assert.ok(Math.abs(v - byBox[i]) <= 1, `(${x}, ${y}): ${byOnvif} for ${byBox}`));
    assert.ok(byOnvif[0] !== 19800 && byOnvif[1] !== 6300, 'the head moved');
  }
});

test('refused requests send nothing to the daemon', async () => {
  const stop = '<tptz:Stop><tptz:ProfileToken>ch1</tptz:ProfileToken><tptz:PanTilt>true</tptz:PanTilt></tptz:Stop>';
  const replayed = wsse('admin', 's3cret');
  const cases = [
    ['bad password', () => board.client('admin', 'wrong').then(() => 'connected', (e) => e.message), /not authorized/],
    ['a User moving', () => board.post(stop, {header: wsse('viewer', 'look')}), /ter:NotAuthorized/],
    ['replayed nonce', () => board.post(stop, {header: replayed}), /ter:NotAuthorized/],
    ['body over 1 MiB', () => board.post(stop, {header: wsse('admin', 's3cret'), length: 2 << 20}), /^413/],
    ['entity declaration', () => board.post('', {rawBody: `<?xml version="1.0"?><!DOCTYPE s [<!ENTITY a "ch1">]>` +
      `<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"><s:Header>${wsse('admin', 's3cret')}</s:Header>` +
      `<s:Body>${stop.replace('ch1', '&a;')}</s:Body></s:Envelope>`}), /document type/],
  ];
  assert.equal((await board.post(stop, {header: replayed})).status, 200);
  await sleep(100);
  const before = board.datagrams().length;
  for (const [name, send, expected] of cases) {
    const r = await send();
    assert.match(typeof r === 'string' ? r : `${r.status} ${r.text}`, expected, name);
  }
  await sleep(200);
  assert.equal(board.datagrams().length, before);
});
