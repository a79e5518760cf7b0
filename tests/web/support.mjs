// What the browser tests share: one browser, a fake host with a home, pages whose microphones sound a known tone.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import { chromium } from 'playwright-core';
import { FakeHost } from './fake-host.mjs';

/** As long as a busy machine may take; nothing waits this long when all is well. */
export const LONG_MS = Number(process.env.WAIT_MS ?? 30_000);
const ARGUMENTS = [
    '--no-sandbox', '--use-fake-device-for-media-stream', '--use-fake-ui-for-media-stream', '--allow-loopback-in-peer-connection',
    // A name that is no secure address, as http://tablet.home would be.
    '--host-resolver-rules=MAP insecure.test 127.0.0.1',
];
const AXE = fs.readFileSync(new URL('node_modules/axe-core/axe.min.js', import.meta.url), 'utf8');
const NO_TOUCH = '--autoplay-policy=no-user-gesture-required';

export const launch = ({ needsTouch = false } = {}) =>
    chromium.launch({ executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium', args: needsTouch ? ARGUMENTS : [...ARGUMENTS, NO_TOUCH] });

/** The home of most tests: three tablets, a phone, a door station, two groups. */
export async function startHome() {
    const host = new FakeHost();
    host.home = 'Oak Lane 5';
    host.addDevice({ id: 101, key: 'frontdoor', name: 'Front door', doorStation: true, camera: true });
    host.addDevice({ id: 102, key: 'kitchen', name: 'Kitchen', isTablet: true, camera: true, display: true, answerWithVideo: true });
    host.addDevice({ id: 103, key: 'study', name: 'Study', isTablet: true, camera: true, display: true, answerWithVideo: true, mayBeMonitored: true });
    host.addDevice({ id: 104, key: 'nursery', name: 'Nursery', isTablet: true, display: true });
    host.addDevice({ id: 105, key: 'hall', name: 'Hall', thirdParty: true });
    host.groups.push({ id: 1, name: 'Upstairs', members: [103, 104] });
    host.buttons.set('101', ['Open the door']);
    await host.start();
    return host;
}

/** The page through which sound and pictures pass. */
export async function addRelay(host, browser) {
    const page = await (await browser.newContext()).newPage();
    await page.goto(`${host.url}/relay.html`);
    await untilTrue(page, () => !!window.relay);
    host.relay = (deed, ...all) => page.evaluate(([name, ...values]) => window.relay[name](...values), [deed, ...all]).catch(() => '');
}

/** In the page: a microphone that sounds a tone, and a list of what was asked of it. */
function soundTone(hz) {
    window.captures = [];
    const devices = navigator.mediaDevices;
    if (!devices) return;
    const original = devices.getUserMedia.bind(devices);
    devices.getUserMedia = async (wanted) => {
        window.captures.push(wanted);
        if (!wanted.audio) return original(wanted);
        const context = (window.toneContext ??= new AudioContext());
        const oscillator = context.createOscillator();
        const out = context.createMediaStreamDestination();
        oscillator.frequency.value = hz;
        oscillator.connect(out);
        oscillator.start();
        return out.stream;
    };
}

/**
 * Opens a tablet's page and waits until its home is there. Whatever the page throws fails the test that closes it.
 * @param {import('playwright-core').Browser} browser
 */
export async function openTablet(browser, host, name, { tone = 0, permissions = ['microphone', 'camera'], wait = true, script, ...context } = {}) {
    const options = { viewport: { width: 1280, height: 800 }, locale: 'en-GB', permissions, ...context };
    const page = await (await browser.newContext(options)).newPage();
    page.errors = [];
    page.on('pageerror', (error) => page.errors.push(error.message));
    page.on('console', (message) => message.type() === 'error' && /Content Security Policy|Uncaught/.test(message.text()) && page.errors.push(message.text()));
    page.setDefaultTimeout(LONG_MS);
    if (tone) await page.addInitScript(soundTone, tone);
    if (script) await page.addInitScript(script);
    await page.goto(`${host.url}/tablet/${name}`);
    if (wait) await untilTrue(page, () => window.tablet?.deviceId && window.tablet.home.isRead);
    return page;
}

/** Closes pages, and fails when one of them has thrown. */
export async function closeAll(...pages) {
    for (const page of pages) {
        await page.context().close();
        assert.deepEqual(page.errors, []);
    }
}

/** After each test, also one that failed half-way. */
export async function cleanUp(browser, host) {
    await Promise.all(browser.contexts().map((context) => context.close()));
    await host.stop();
}

/** Waits until a check passes. */
export async function until(check, what) {
    const end = Date.now() + LONG_MS;
    for (;;) {
        const result = await check();
        if (result) return result;
        if (Date.now() > end) assert.fail(`waited in vain: ${what ?? check}`);
        await new Promise((done) => setTimeout(done, 20));
    }
}

/** Waits until something is true in the page. Not by waitForFunction, which the page's policy forbids. */
export const untilTrue = (page, check, value) => until(() => page.evaluate(check, value), check);

/** Waits until the page hears that tone in its foremost call. @param {import('playwright-core').Page} page */
export const untilHeard = (page, hz) =>
    page.evaluate(
        async ([wanted, time]) => {
            const context = new AudioContext();
            await context.resume();
            const analyser = context.createAnalyser();
            analyser.fftSize = 8192;
            const tracks = window.tablet.calls.list.flatMap((call) => call.leg?.remote.getAudioTracks() ?? []);
            context.createMediaStreamSource(new MediaStream(tracks)).connect(analyser);
            const levels = new Float32Array(analyser.frequencyBinCount);
            const end = Date.now() + time;
            for (;;) {
                await new Promise((done) => setTimeout(done, 50));
                analyser.getFloatFrequencyData(levels);
                const best = levels.indexOf(Math.max(...levels));
                const found = (best * context.sampleRate) / analyser.fftSize;
                if (levels[best] > -60 && Math.abs(found - wanted) < 15) break;
                if (Date.now() > end) throw new Error(`heard ${found} Hz at ${levels[best]} dB instead of ${wanted} Hz`);
            }
            await context.close();
        },
        [hz, LONG_MS],
    );

/** What axe finds wrong in the page. */
export async function faults(page) {
    // Not by a tag: the page's policy lets nobody add scripts.
    await page.evaluate(AXE);
    const { violations } = await page.evaluate(() => window.axe.run());
    return violations.map(({ id, nodes }) => `${id}: ${nodes.map((node) => node.html).join(' | ')}`);
}

/** Touches the tile of a device and one of the buttons behind it. */
export async function touchTile(page, device, button) {
    await page.getByRole('button', { name: new RegExp(`^${device}`) }).first().click();
    await page.getByRole('button', { name: button, exact: true }).click();
}
