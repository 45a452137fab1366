// Drives the orvkit-sim console in headless Chromium while orvkit-cli talks
// to the simulator: the demo's requests show in the log, the reported
// positions as a track, a rule added on the page makes the next command
// fail, and bad input to the console API changes nothing.
// env: ORVKIT_SIM, ORVKIT_CLI (the binaries), CHROMIUM (default
// /usr/bin/chromium), ORVKIT_CONSOLE_SCREENSHOT (where the PNG goes).
import { chromium } from 'playwright-core';
import { spawn, spawnSync } from 'node:child_process';
import { mkdtempSync, readFileSync, existsSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const sim = process.env.ORVKIT_SIM;
const cli = process.env.ORVKIT_CLI;
const chromiumPath = process.env.CHROMIUM || '/usr/bin/chromium';
const work = mkdtempSync(join(tmpdir(), 'orvkit-console-'));
const screenshot = process.env.ORVKIT_CONSOLE_SCREENSHOT || join(work, 'console.png');
const thing = 'ORV-NAV20-0012345';
const login = ['login', '--model', 'ORV-NAV20', '--device', '0012345', '--loginid', 'driver01', '--password', 'orv-pass-01'];
// The demo's way from Tokyo Station towards Nihonbashi.
const route = [
  ['139.767125', '35.681236', '0', '0', '2024-06-15T00:30:00Z'],
  ['139.770350', '35.684020', '28', '35', '2024-06-15T00:31:00Z'],
  ['139.773490', '35.687230', '36', '40', '2024-06-15T00:32:00Z'],
];
const WAIT_MS = 15000;

let simulator;
let browser;
let failures = 0;

function check(condition, what) {
  console.log(`${condition ? 'ok' : 'NOT OK'}: ${what}`);
  if (!condition) failures += 1;
  return condition;
}

function fatal(message) {
  throw new Error(message);
}

async function startSimulator() {
  const origins = join(work, 'origins');
  simulator = spawn(sim, ['--console-port', '0', '--origins-file', origins, '--ca-file', join(work, 'ca.pem')],
    { stdio: ['ignore', 'ignore', 'inherit'] });
  const deadline = Date.now() + WAIT_MS;
  while (Date.now() < deadline) {
    if (simulator.exitCode !== null) fatal(`orvkit-sim ended with status ${simulator.exitCode}`);
    // The CA line comes last, so the file is whole once it is there.
    if (existsSync(origins) && /^caCertificateFile=/m.test(readFileSync(origins, 'utf8'))) {
      const match = /^consoleOrigin=(.*)$/m.exec(readFileSync(origins, 'utf8'));
      if (!match) fatal('orvkit-sim wrote no consoleOrigin line');
      return { origins, console: match[1] };
    }
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
  fatal('orvkit-sim wrote no origins');
}

// One orvkit-cli run (a fresh kit); returns its exit status.
function runCli(origins, saveDir, args) {
  const env = Object.assign({}, process.env);
  delete env.http_proxy;
  delete env.https_proxy;
  const result = spawnSync(cli, ['--origins-from-sim', origins, '--save-dir', saveDir, ...args],
    { env, encoding: 'utf8', timeout: 60000 });
  if (result.status !== 0) process.stderr.write(result.stdout + result.stderr);
  return result.status;
}

// The routes of the log rows, oldest first.
async function loggedRoutes(page) {
  return page.$$eval('#requests tbody tr', (rows) => rows.map((r) => r.dataset.route).reverse());
}

async function main() {
  if (!sim || !cli) fatal('set ORVKIT_SIM and ORVKIT_CLI');
  const { origins, console: consoleOrigin } = await startSimulator();
  const api = (path, options) => fetch(consoleOrigin + '/console/api/' + path, options);
  const saveDir = join(work, 'save');

  browser = await chromium.launch({
    executablePath: chromiumPath,
    headless: true,
    // Without the background-networking flags Chromium keeps reaching out, which a closed network refuses.
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync', '--no-proxy-server'],
  });
  const page = await browser.newPage({ viewport: { width: 1280, height: 1000 } });
  const pageErrors = [];
  page.on('pageerror', (error) => pageErrors.push(error.message));
  await page.goto(consoleOrigin + '/');
  await page.waitForSelector('#connection.live', { timeout: WAIT_MS });
  check(true, 'the page loads from the simulator and reaches its API');

  // The demo's tour, against this simulator.
  const tour = [...login, '--', 'summary', '--', 'spots', '--sort', '2', '--order', '0', '--count', '5',
    '--', 'folders', '--sort', '0', '--order', '1', '--count', '10', '--', 'destinations', '--', 'plans', '--paging',
    '--', 'genres', '--', 'certificate'];
  for (const [lon, lat, speed, direction, at] of route) {
    tour.push('--', 'position', '--lon', lon, '--lat', lat, '--speed', speed, '--direction', direction,
      '--measured-at', at);
  }
  check(runCli(origins, saveDir, tour) === 0, 'orvkit-cli ran the tour against orvkit-sim');

  const expected = ['login', 'summary', 'spots', 'folders', 'destinations', 'plans', 'genres', 'cert', 'shadow', 'shadow', 'shadow'];
  await page.waitForFunction((n) => document.querySelectorAll('#requests tbody tr').length >= n, expected.length,
    { timeout: WAIT_MS }).catch(() => {});
  const routes = await loggedRoutes(page);
  check(JSON.stringify(routes) === JSON.stringify(expected), `the log lists the tour's requests in order (${routes.join(' ')})`);
  const newest = await page.$eval('#requests tbody tr', (r) => ({
    path: r.querySelector('td.path').textContent, who: r.querySelector('td.requester').textContent,
    status: r.querySelector('td.status').textContent }));
  check(newest.path === `/things/${thing}/shadow` && newest.who === thing && newest.status === '200',
    `the newest row is the last position report, by the device (${JSON.stringify(newest)})`);
  const summaryWho = await page.$eval('#requests tbody tr[data-route="summary"] td.requester', (c) => c.textContent);
  check(summaryWho === 'driver01', 'an API request names the account of its token');

  const card = `.device[data-thing="${thing}"]`;
  await page.waitForSelector(`${card} svg.track[data-points="3"]`, { timeout: WAIT_MS }).catch(() => {});
  const drawn = await page.$$eval(`${card} svg.track circle`, (circles) =>
    circles.map((c) => ({ last: c.classList.contains('track-last'), x: Number(c.getAttribute('cx')), y: Number(c.getAttribute('cy')) })));
  check(drawn.length === 3 && drawn[2].last && !drawn[0].last && !drawn[1].last, 'the track shows the three points, the last one marked');
  // The way runs north-east: each point lies right of and above the one before.
  check(drawn.length === 3 && drawn[0].x < drawn[1].x && drawn[1].x < drawn[2].x && drawn[0].y > drawn[1].y && drawn[1].y > drawn[2].y,
    'the track is drawn east to the right and north up');
  const scale = await page.$eval(`${card} .track-scale-label`, (t) => t.textContent).catch(() => '');
  check(/^\d+(\.\d+)? k?m$/.test(scale), `the track has a scale (${scale})`);
  const version = await page.$eval(`${card} .version`, (v) => v.textContent).catch(() => '');
  check(version.startsWith('version 3,'), `the shadow's version is shown (${version})`);

  const token = /^TokenAccess=(.+)$/m.exec(readFileSync(join(saveDir, 'OrvToken.ini'), 'utf8'));
  const shown = await page.$eval('#accounts tr[data-loginid="driver01"] code', (c) => c.textContent).catch(() => '');
  const html = await page.content();
  check(token && /^[0-9a-f]{4}\.\.\.[0-9a-f]{4}$/.test(shown) && token[1].startsWith(shown.slice(0, 4)) && !html.includes(token[1]),
    `the account's token is shown shortened (${shown}), never whole`);
  const destinations = await page.$eval('#data tr[data-set="destination"] td:nth-child(2)', (c) => c.textContent);
  check(destinations === '3', 'the data set counts are shown');

  // A rule that does not parse is refused on the page and changes nothing.
  await page.fill('#fault-rule', 'summary=99');
  await page.click('#fault-add');
  await page.waitForFunction(() => document.getElementById('fault-error').textContent !== '', null, { timeout: WAIT_MS });
  const refusal = await page.textContent('#fault-error');
  check(refusal.includes('bad fault item') && (await page.$$('#faults li')).length === 0,
    `a malformed rule is refused with its reason (${refusal})`);

  // A rule added on the page fails the next command with the expected code.
  await page.fill('#fault-rule', 'summary=503');
  await page.click('#fault-add');
  await page.waitForSelector('#faults li[data-route="summary"]', { timeout: WAIT_MS });
  check((await page.textContent('#faults li .rule')) === 'summary=503', 'the page lists the rule it added');
  // 160: the library's RESULT_UNAVAILABLE for 503 with I5031001.
  const status = runCli(origins, saveDir, [...login, '--', 'summary']);
  check(status === 160, `the next summary fails with the unavailable result (exit status ${status})`);
  await page.waitForSelector('#requests tbody tr[data-route="summary"][data-status="503"]', { timeout: WAIT_MS });
  const faulted = await page.$eval('#requests tbody tr[data-route="summary"][data-status="503"]', (r) =>
    ({ code: r.querySelector('td.code').textContent, fault: r.querySelector('td.fault').textContent }));
  check(faulted.code === 'I5031001' && faulted.fault === 'summary=503', `the log marks the faulted request (${JSON.stringify(faulted)})`);
  await page.screenshot({ path: screenshot, fullPage: true });
  console.log(`screenshot: ${screenshot}`);

  await page.click('#faults li[data-route="summary"] button.remove');
  await page.waitForSelector('#faults li', { state: 'detached', timeout: WAIT_MS });
  check(runCli(origins, saveDir, [...login, '--', 'summary']) === 0, 'with the rule removed on the page the summary succeeds again');

  // A dead link for a while is set like any rule and goes with it.
  await page.fill('#fault-rule', '*=dead=60000');
  await page.click('#fault-add');
  await page.waitForSelector('#faults li[data-route="*"]', { timeout: WAIT_MS });
  check((await page.textContent('#faults li .rule')) === '*=dead=60000', 'the page lists the dead-link rule it added');
  await page.click('#faults li[data-route="*"] button.remove');
  await page.waitForSelector('#faults li', { state: 'detached', timeout: WAIT_MS });

  // Bad input to the API: a clear 4xx with a reason, and nothing changes.
  const before = await (await api('faults')).text();
  const big = JSON.stringify({ rule: 'summary=500', padding: 'x'.repeat(64 * 1024) });
  const cases = [
    ['GET /console/api/nothing', api('nothing'), 404],
    ['DELETE /console/api/requests', api('requests', { method: 'DELETE' }), 404],
    ['POST a malformed rule', api('faults', { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: '{"rule":"nowhere=500"}' }), 400],
    ['POST a body that is not JSON', api('faults', { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: 'summary=500' }), 400],
    ['POST a rule as a form', api('faults', { method: 'POST', headers: { 'Content-Type': 'application/x-www-form-urlencoded' }, body: 'rule=summary%3D500' }), 415],
    ['POST a 64 KiB body', api('faults', { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: big }), 413],
    ['DELETE a fault that is not there', api('faults/genres', { method: 'DELETE' }), 404],
    ['GET requests with limit=0', api('requests?limit=0'), 400],
    ['GET requests after a non-number', api('requests?after=x'), 400],
  ];
  for (const [what, pending, want] of cases) {
    const response = await pending;
    const body = await response.json().catch(() => ({}));
    check(response.status === want && typeof body.error === 'string' && body.error.length > 0,
      `${what}: ${response.status} (${body.error})`);
  }
  check((await (await api('faults')).text()) === before, 'the fault rules are as before');
  check(simulator.exitCode === null, 'the simulator still runs');
  check(pageErrors.length === 0, `no script errors on the page (${pageErrors.join('; ')})`);
}

try {
  await main();
} catch (error) {
  console.log(`NOT OK: ${error.message}`);
  failures += 1;
} finally {
  if (browser) await browser.close();
  if (simulator && simulator.exitCode === null) simulator.kill('SIGTERM');
  rmSync(work, { recursive: true, force: true });
}
console.log(failures === 0 ? 'console: all ok' : `console: ${failures} check(s) failed`);
process.exit(failures === 0 ? 0 : 1);
