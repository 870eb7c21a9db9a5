// The example board in a temporary directory, with simulated cameras on its
// two RS-485 lines, the host runner with a trace, and ptzonvif in front of it.
// PTZ_BIN names the build directory, PTZ_SOURCE the source tree.
'use strict';
const {spawn, execFileSync} = require('node:child_process');
const crypto = require('node:crypto');
const fs = require('node:fs');
const http = require('node:http');
const os = require('node:os');
const path = require('node:path');
const onvif = require('onvif');

const bin = process.env.PTZ_BIN || path.resolve(__dirname, '../../../build/default');
const source = process.env.PTZ_SOURCE || path.resolve(__dirname, '../../..');
const sleep = (ms) => new Promise((r) => setTimeout(r, ms));

async function until(what, fn, ms = 5000) {
  for (const end = Date.now() + ms; Date.now() < end; await sleep(20)) {
    const v = fn();
    if (v) return v;
  }
  throw new Error(`timed out waiting for ${what}`);
}

class Board {
  constructor() {
    this.dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ptzonvif-e2e.'));
    this.procs = [];
    this.cams = '';  // every frame the cameras decoded
    this.users = {admin: 'Administrator s3cret', viewer: 'User look'};
  }

  run(exe, args, onOut) {
    const p = spawn(path.join(bin, exe), args, {stdio: ['ignore', 'pipe', 'pipe']});
    p.stdout.on('data', (d) => onOut && onOut(d.toString()));
    p.stderr.on('data', (d) => onOut && onOut(d.toString()));
    this.procs.push(p);
    return p;
  }

  async start() {
    fs.cpSync(path.join(source, 'board/example'), this.dir, {recursive: true});
    for (const f of ['tmp/ptzsvr.sock', 'tmp/ptzsvr.pid']) fs.rmSync(path.join(this.dir, f), {force: true});
    const cam = (d) => (this.cams += d);
    this.run('ptzcam', ['camera', '--protocol', 'pelco-d', '--address', '1,2', '--link', this.path('dev/ttyS2')], cam);
    this.run('ptzcam', ['camera', '--protocol', 'c1080pt,c1080b', '--address', '1,2', '--link',
                        this.path('dev/ttyS3')], cam);
    await until('the cameras', () => ['ttyS2', 'ttyS3'].every((t) => fs.lstatSync(this.path('dev/' + t)).isSymbolicLink()));
    this.run('ptzsvr-host', ['--board', this.dir, '--trace', this.path('trace.jsonl')]);
    await until('the host runner', () => fs.existsSync(this.path('tmp/ptzsvr.sock')));
    const users = Object.entries(this.users).map(([n, rest]) => `${n} ${rest}\n`).join('');
    fs.writeFileSync(this.path('users'), users, {mode: 0o600});
    await this.startOnvif();
    return this;
  }

  async startOnvif() {
    let out = '';
    this.onvif = this.run('ptzonvif', ['--board', this.dir, '--users', this.path('users'), '--listen', '127.0.0.1:0',
                                       '--state', this.path('state'), '--no-discovery'], (d) => (out += d));
    const m = await until('ptzonvif', () => /listening on [\d.]+:(\d+)/.exec(out));
    this.port = Number(m[1]);
  }

  async restartOnvif() {
    const p = this.onvif;
    const gone = new Promise((r) => p.once('exit', r));
    p.kill('SIGTERM');
    await gone;
    await this.startOnvif();
  }

  path(p) { return path.join(this.dir, p); }

  trace() {
    return fs.readFileSync(this.path('trace.jsonl'), 'utf8').split('\n').filter(Boolean).map((l) => JSON.parse(l));
  }
  // The datagrams the daemon took, by its log of each one's message id.
  datagrams() { return this.trace().filter((r) => r.op === 'log' && /hdr->msg_id=/.test(r.text)); }
  writes(dev) { return this.trace().filter((r) => r.op === 'write' && r.dev === dev); }

  // The ONVIF client library, its callbacks as promises.
  async client(username = 'admin', password = 's3cret') {
    const cam = new onvif.Cam({hostname: '127.0.0.1', port: this.port, username, password, autoconnect: false});
    const call = (name, arg) => new Promise((res, rej) =>
      cam[name](...(arg === undefined ? [] : [arg]), (err, data, xml) => (err ? rej(err) : res({data, xml}))));
    await call('connect');
    return {cam, call};
  }

  // A raw SOAP request; `header` goes into the envelope's Header.
  post(body, {header = '', length, rawBody} = {}) {
    const doc = rawBody ?? '<?xml version="1.0" encoding="UTF-8"?><s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope" ' +
      'xmlns:tptz="http://www.onvif.org/ver20/ptz/wsdl" xmlns:tt="http://www.onvif.org/ver10/schema">' +
      `<s:Header>${header}</s:Header><s:Body>${body}</s:Body></s:Envelope>`;
    return new Promise((resolve, reject) => {
      const req = http.request({host: '127.0.0.1', port: this.port, path: '/onvif/ptz_service', method: 'POST',
                                headers: {'Content-Type': 'application/soap+xml', 'Content-Length': length ?? Buffer.byteLength(doc)}});
      req.on('response', (res) => {
        let text = '';
        res.on('data', (d) => (text += d));
        res.on('end', () => resolve({status: res.statusCode, text}));
      });
      req.on('error', reject);
      if (length === undefined) req.end(doc);
      else req.write(doc);  // a body that never comes in full
    });
  }

  stop() {
    for (const p of this.procs) if (p.exitCode === null) p.kill('SIGTERM');
    fs.rmSync(this.dir, {recursive: true, force: true});
  }
}

// A WS-Security UsernameToken with a PasswordDigest, as ONVIF clients send it.
function wsse(user, password, nonce = crypto.randomBytes(16), created = new Date().toISOString()) {
  const digest = crypto.createHash('sha1').update(Buffer.concat([nonce, Buffer.from(created + password)])).digest('base64');
  const ns = 'http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-';
  return `<wsse:Security xmlns:wsse="${ns}wssecurity-secext-1.0.xsd" xmlns:wsu="${ns}wssecurity-utility-1.0.xsd">` +
    `<wsse:UsernameToken><wsse:Username>${user}</wsse:Username>` +
    `<wsse:Password Type="${ns}username-token-profile-1.0#PasswordDigest">${digest}</wsse:Password>` +
    `<wsse:Nonce EncodingType="${ns}soap-message-security-1.0#Base64Binary">${nonce.toString('base64')}</wsse:Nonce>` +
    `<wsu:Created>${created}</wsu:Created></wsse:UsernameToken></wsse:Security>`;
}

// ptzctl against the board, for what the daemon does on its own.
function ptzctl(board, ...args) { execFileSync(path.join(bin, 'ptzctl'), ['--board', board.dir, ...args]); }

module.exports = {Board, wsse, ptzctl, sleep, until};
