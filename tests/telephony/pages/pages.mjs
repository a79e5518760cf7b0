// Speaks for browser pages at call control, as a driver does: node pages.mjs SOCKET FOLDER USER:HERTZ...
// Each page answers at once, and what it hears stands in FOLDER/USER.json, anew a few times a second.
// SIGUSR1: the connection to call control is lost, and made again after half a second. SIGTERM ends it.
import fs from 'node:fs';
import net from 'node:net';
import path from 'node:path';
import {createRequire} from 'node:module';

const here = import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname);
const {chromium} = createRequire(path.join(here, '../../web/'))('playwright-core');
const [socketPath, folder, ...wanted] = process.argv.slice(2);
const kBetweenLooks = 150; // ms
const kAway = 500; // ms

const browser = await chromium.launch({
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    handleSIGTERM: false,
    args: [
        '--no-sandbox',
        '--autoplay-policy=no-user-gesture-required',
        // The network has no interface but the loopback, and names of it that only a browser resolves are no use.
        '--allow-loopback-in-peer-connection',
        '--disable-features=WebRtcHideLocalIpsWithMdns',
    ],
});
const pages = new Map();
for (const [user, hertz] of wanted.map((word) => word.split(':'))) {
    const page = await (await browser.newContext()).newPage();
    page.on('pageerror', (error) => console.error(user, error.message));
    await page.addScriptTag({path: path.join(here, 'page.js')});
    await page.evaluate((pitch) => window.page.start(pitch), Number(hertz));
    pages.set(user, page);
}

let link;
const tell = (command) => link.write(JSON.stringify(command) + '\n');

const deeds = {
    'page-invite': async (page, {id, leg, sdp, answers}) => {
        if (!answers) tell({cmd: 'page-ringing', id, leg});
        tell({cmd: 'page-answer', id, leg, sdp: await page.evaluate(([call, offer]) => window.page.answer(call, offer), [id, sdp])});
    },
    'page-offer': async (page, {id, leg, sdp}) =>
        tell({cmd: 'page-answer', id, leg, sdp: await page.evaluate(([call, offer]) => window.page.answer(call, offer), [id, sdp])}),
    'page-keyframe': (page, {id}) => page.evaluate((call) => window.page.keyframe(call), id),
    'leg-down': (page, {id}) => page.evaluate((call) => window.page.end(call), id),
};

function connect() {
    let text = '';
    let order = Promise.resolve();
    link = net.connect(socketPath);
    link.on('error', (error) => console.error(error.message));
    link.on('data', (bytes) => {
        text += bytes;
        const lines = text.split('\n');
        text = lines.pop();
        for (const event of lines.map((line) => JSON.parse(line))) {
            if (event.event === 'refused') console.error('refused', event.reason);
            const page = pages.get(event.leg);
            // One after the other: an offer waits until what came before it is answered.
            if (page && deeds[event.event])
                order = order.then(() => deeds[event.event](page, event)).catch((error) => console.error(event.event, error.message));
        }
    });
    tell({
        cmd: 'hello',
        version: 1,
        devices: [...pages.keys()].map((user) => ({user, name: `The ${user}`, page: true, mayBeMonitored: true})),
    });
    for (const user of pages.keys()) tell({cmd: 'page-present', leg: user, present: true});
}

process.on('SIGUSR1', () => {
    link.destroy();
    setTimeout(connect, kAway);
});
process.on('SIGTERM', async () => {
    await browser.close();
    process.exit(0);
});

connect();
while (browser.isConnected()) {
    for (const [user, page] of pages) {
        const file = path.join(folder, `${user}.json`);
        const heard = await page.evaluate(() => window.page.hears());
        if (heard.waiting) tell({cmd: 'page-keyframe', id: heard.call, leg: user});
        fs.writeFileSync(`${file}.new`, JSON.stringify(heard));
        fs.renameSync(`${file}.new`, file);
    }
    await new Promise((done) => setTimeout(done, kBetweenLooks));
}
