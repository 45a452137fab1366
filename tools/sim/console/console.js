// The console polls /console/api/ one request at a time (one kept-alive
// connection) and redraws only what changed. Texts from the simulator go in
// as text nodes, never as markup.
'use strict';

const POLL_MS = 600;
const MAX_ROWS = 500;
const SVG = 'http://www.w3.org/2000/svg';
const state = { last: 0, rows: 0, devices: new Map(), faults: '', accounts: '', data: '' };

function el(tag, attributes, ...children) {
  const node = tag.startsWith('svg:') ? document.createElementNS(SVG, tag.slice(4)) : document.createElement(tag);
  for (const [key, value] of Object.entries(attributes || {})) {
    if (value !== undefined && value !== null) node.setAttribute(key, String(value));
  }
  for (const child of children) {
    if (child !== undefined && child !== null) node.append(child instanceof Node ? child : String(child));
  }
  return node;
}

async function api(path, options) {
  const response = await fetch('/console/api/' + path, Object.assign({ cache: 'no-store' }, options));
  const text = await response.text();
  const body = text ? JSON.parse(text) : null;
  if (!response.ok) throw new Error((body && body.error) || response.status + ' ' + response.statusText);
  return body;
}

function clock(ms) {
  const t = new Date(ms);
  const two = (n) => String(n).padStart(2, '0');
  return `${two(t.getHours())}:${two(t.getMinutes())}:${two(t.getSeconds())}.${String(t.getMilliseconds()).padStart(3, '0')}`;
}

function statusClass(status) {
  if (status === 0) return 'dropped';
  if (status >= 500) return 'server';
  if (status >= 400) return 'client';
  return 'ok';
}

// Requests, newest first.
async function refreshRequests() {
  const answer = await api(state.last ? `requests?after=${state.last}&limit=${MAX_ROWS}` : `requests?limit=${MAX_ROWS}`);
  const body = document.querySelector('#requests tbody');
  const fresh = answer.requests;
  for (let i = fresh.length - 1; i >= 0; --i) {
    const r = fresh[i];
    const path = r.query ? `${r.path}?${r.query}` : r.path;
    const row = el('tr', { class: state.last ? 'fresh' : '', 'data-route': r.route, 'data-status': r.status },
      el('td', { class: 'num' }, clock(r.time)),
      el('td', {}, el('span', { class: r.environment === 'test' ? 'badge test' : 'badge' }, r.environment === 'test' ? 'test' : 'prod')),
      el('td', {}, r.method),
      el('td', { class: 'path', title: r.route || 'unknown route' }, path),
      el('td', { class: 'requester' }, r.requester),
      el('td', { class: `status ${statusClass(r.status)}` }, r.status === 0 ? 'dropped' : r.status),
      el('td', { class: 'code' }, r.code),
      el('td', { class: 'num' }, r.ms.toFixed(2)),
      el('td', { class: 'fault' }, r.fault ? el('span', { class: 'badge fault' }, r.fault) : ''));
    body.prepend(row);
  }
  state.rows += fresh.length;
  while (body.rows.length > MAX_ROWS) body.deleteRow(-1);
  state.last = answer.last;
  document.getElementById('requests-empty').hidden = body.rows.length > 0;
  document.getElementById('request-count').textContent = state.rows ? `(${state.rows} seen)` : '';
}

// Metres per degree of latitude, near enough for a track of a few kilometres.
const METRES_PER_DEGREE = 111320;

function niceLength(metres) {
  const power = Math.pow(10, Math.floor(Math.log10(metres)));
  for (const step of [5, 2, 1]) if (step * power <= metres) return step * power;
  return power;
}

function track(positions) {
  const width = 300;
  const height = 220;
  const pad = 22;
  const points = positions
    .map((p) => ({ lon: Number(p.lon), lat: Number(p.lat), at: p.measuredAt }))
    .filter((p) => Number.isFinite(p.lon) && Number.isFinite(p.lat) && Math.abs(p.lat) <= 90 && Math.abs(p.lon) <= 180);
  const svg = el('svg:svg', { class: 'track', width, height, viewBox: `0 0 ${width} ${height}`, 'data-points': points.length });
  if (points.length === 0) {
    svg.append(el('svg:text', { x: width / 2, y: height / 2, 'text-anchor': 'middle', class: 'track-label' }, 'no positions'));
    return svg;
  }
  // Equirectangular around the mean latitude, north up, same scale both ways.
  const meanLat = points.reduce((sum, p) => sum + p.lat, 0) / points.length;
  const squeeze = Math.max(Math.cos((meanLat * Math.PI) / 180), 0.01);
  const xs = points.map((p) => p.lon * squeeze);
  const ys = points.map((p) => p.lat);
  const minX = Math.min(...xs), maxX = Math.max(...xs), minY = Math.min(...ys), maxY = Math.max(...ys);
  const span = Math.max(maxX - minX, maxY - minY, 0.002);
  const scale = Math.min((width - 2 * pad) / span, (height - 2 * pad - 16) / span);
  const cx = (minX + maxX) / 2, cy = (minY + maxY) / 2;
  const at = (i) => [width / 2 + (xs[i] - cx) * scale, (height - 16) / 2 - (ys[i] - cy) * scale];
  const coords = points.map((_, i) => at(i).map((v) => v.toFixed(1)).join(','));
  svg.append(el('svg:polyline', { class: 'track-line', points: coords.join(' ') }));
  points.forEach((p, i) => {
    const [x, y] = at(i);
    const last = i === points.length - 1;
    const mark = el('svg:circle', { class: last ? 'track-last' : i === 0 ? 'track-point track-first' : 'track-point', cx: x.toFixed(1), cy: y.toFixed(1), r: last ? 6 : 3.5 },
      el('svg:title', {}, `#${i + 1} ${p.lon.toFixed(6)}, ${p.lat.toFixed(6)}${p.at ? ' at ' + p.at : ''}`));
    svg.append(mark);
    if (last) {
      svg.append(el('svg:text', { class: 'track-label', x: (x + 9).toFixed(1), y: (y + 4).toFixed(1) }, 'last'));
    }
  });
  // Scale bar: a round distance about a quarter of the width.
  const metresPerPixel = METRES_PER_DEGREE / scale;
  const metres = niceLength(metresPerPixel * width * 0.25);
  const bar = metres / metresPerPixel;
  const y = height - 10;
  svg.append(el('svg:line', { class: 'track-scale', x1: 10, y1: y, x2: (10 + bar).toFixed(1), y2: y }));
  svg.append(el('svg:text', { class: 'track-label track-scale-label', x: (16 + bar).toFixed(1), y: y + 3 },
    metres >= 1000 ? `${metres / 1000} km` : `${metres} m`));
  svg.append(el('svg:text', { class: 'track-label', x: width - 10, y: 14, 'text-anchor': 'end' }, 'N \u2191'));
  return svg;
}

function deviceCard(entry, documentBody) {
  const reported = Object.assign({}, documentBody.state && documentBody.state.reported);
  const positions = Array.isArray(reported.positions) ? reported.positions : [];
  delete reported.positions;
  const when = documentBody.timestamp ? new Date(documentBody.timestamp * 1000).toLocaleTimeString() : '';
  return el('div', { class: 'device', 'data-thing': entry.thing, 'data-environment': entry.environment },
    el('h3', {}, entry.thing, ' ',
      el('span', { class: entry.environment === 'test' ? 'badge test' : 'badge' }, entry.environment), ' ',
      el('span', { class: 'muted version' }, `version ${documentBody.version}, ${positions.length} positions, ${when}`)),
    el('div', { class: 'device-body' },
      track(positions),
      el('pre', { class: 'reported' }, JSON.stringify(reported, null, 2))));
}

async function refreshDevices() {
  const list = await api('devices');
  const box = document.getElementById('devices');
  let changed = list.length !== state.devices.size;
  for (const entry of list) {
    const key = `${entry.environment}/${entry.thing}`;
    const known = state.devices.get(key);
    if (known && known.version === entry.version) continue;
    const documentBody = await api(`devices/${entry.environment}/${encodeURIComponent(entry.thing)}`);
    state.devices.set(key, { version: entry.version, card: deviceCard(entry, documentBody) });
    changed = true;
  }
  if (!changed) return;
  const keys = new Set(list.map((e) => `${e.environment}/${e.thing}`));
  for (const key of state.devices.keys()) if (!keys.has(key)) state.devices.delete(key);
  box.replaceChildren(...[...state.devices.values()].map((d) => d.card));
  if (state.devices.size === 0) box.append(el('p', { class: 'muted' }, 'No shadow reported yet.'));
}

async function refreshFaults(force) {
  const list = await api('faults');
  const text = JSON.stringify(list);
  if (!force && text === state.faults) return;
  state.faults = text;
  document.getElementById('faults').replaceChildren(...list.map((f) =>
    el('li', { 'data-route': f.route },
      el('span', { class: 'rule' }, f.rule),
      el('button', { class: 'remove', type: 'button', 'data-route': f.route, title: `remove the fault on ${f.route}` }, 'remove'))));
  document.getElementById('faults-empty').hidden = list.length > 0;
}

function expiry(seconds) {
  if (seconds <= 0) return 'expired';
  if (seconds < 120) return `${seconds} s left`;
  return `${Math.round(seconds / 60)} min left`;
}

async function refreshAccounts() {
  const answer = await api('accounts');
  const text = JSON.stringify(answer.accounts) + Math.floor(answer.now / 30);
  document.getElementById('token-lifetime').textContent = `(tokens live ${answer.tokenLifetime} s)`;
  if (text === state.accounts) return;
  state.accounts = text;
  document.querySelector('#accounts tbody').replaceChildren(...answer.accounts.map((a) =>
    el('tr', { 'data-loginid': a.loginid },
      el('td', {}, a.loginid),
      el('td', {}, a.role),
      el('td', {}, a.tokenCount === 0 ? el('span', { class: 'muted' }, 'none') : '',
        ...a.tokens.map((t) => el('div', { class: 'token' },
          el('code', {}, t.token), ' ',
          el('span', { class: t.environment === 'test' ? 'badge test' : 'badge' }, t.environment), ' ',
          el('span', { class: t.expiresAt <= answer.now ? 'status server' : 'muted' }, expiry(t.expiresAt - answer.now)))),
        a.tokenCount > a.tokens.length ? el('div', { class: 'muted' }, `and ${a.tokenCount - a.tokens.length} older`) : ''))));
}

async function refreshData() {
  const answer = await api('data');
  const text = JSON.stringify(answer);
  if (text === state.data) return;
  state.data = text;
  const sets = ['spot', 'folder', 'destination', 'plan'];
  const count = (env, set) => (answer[env] && answer[env][set] ? answer[env][set].count : '');
  document.querySelector('#data tbody').replaceChildren(...sets.map((set) =>
    el('tr', { 'data-set': set },
      el('td', {}, set + 's'),
      el('td', { class: 'num' }, count('production', set)),
      el('td', { class: 'num' }, count('test', set)))));
}

function showConnection(ok, message) {
  const badge = document.getElementById('connection');
  badge.className = ok ? 'connection live' : 'connection lost';
  badge.textContent = ok ? 'live' : 'no connection';
  badge.title = message || '';
  if (ok) document.getElementById('updated').textContent = `updated ${new Date().toLocaleTimeString()}`;
}

async function poll() {
  try {
    await refreshRequests();
    await refreshDevices();
    await refreshFaults(false);
    await refreshAccounts();
    await refreshData();
    showConnection(true);
  } catch (error) {
    showConnection(false, error.message);
  }
  setTimeout(poll, POLL_MS);
}

document.getElementById('fault-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const input = document.getElementById('fault-rule');
  const message = document.getElementById('fault-error');
  message.textContent = '';
  try {
    await api('faults', { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify({ rule: input.value.trim() }) });
    input.value = '';
  } catch (error) {
    message.textContent = error.message;
  }
  await refreshFaults(true).catch(() => {});
});

document.getElementById('faults').addEventListener('click', async (event) => {
  const button = event.target.closest('button.remove');
  if (!button) return;
  const message = document.getElementById('fault-error');
  message.textContent = '';
  try {
    await api(`faults/${encodeURIComponent(button.dataset.route)}`, { method: 'DELETE' });
  } catch (error) {
    message.textContent = error.message;
  }
  await refreshFaults(true).catch(() => {});
});

poll();
