// How the pages look: nothing of a text runs, axe finds no fault, the first load is small. With SHOTS=FOLDER every screen
// is kept as a picture, at 320, 768 and 1280 px, light and dark.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { addRelay, cleanUp, closeAll, faults, launch, openTablet, startHome, until, untilTrue } from './support.mjs';

const FIRST_LOAD_BYTES = 60_000;
const TELEPHONES = [[320, 568], [667, 375]];
const SIZES = [[320, 640], [768, 1024], [1280, 800]];

let browser;
let host;
before(async () => (browser = await launch()));
after(() => browser.close());
beforeEach(async () => {
    host = await startHome();
    await addRelay(host, browser);
});
afterEach(() => cleanUp(browser, host));

const says = (page, text) => page.getByText(text).first().waitFor();

/** A home in which something goes on. */
function furnish() {
    host.addDevice({ id: 106, key: 'living', name: 'Living room', camera: true, display: true, state: 3 });
    host.addDevice({ id: 107, key: 'bedroom', name: 'Bedroom', dnd: true });
    host.addDevice({ id: 108, key: 'garden', name: 'Garden shed with the long name', state: 4 });
    host.addDevice({ id: 109, key: 'gate', name: 'Gate', doorStation: true, camera: true });
    host.external = true;
    host.contacts = ['Ann Brown', 'Plumber', 'Grandmother'].map((name, at) =>
        `<contact><contactId>${at}</contactId><displayName>${name}</displayName><phoneType><home speedDial="${at < 2}">555-010${at}</home></phoneType></contact>`).join('');
    const call = (id, displayName, aor, hour, more) => ({ id, displayName, aor, callTime: `2026-11-22T0${hour}:15:00Z`, callLength: '74', receivedCall: true, acceptedCall: true, ...more });
    host.recents = [call(0, 'Study', 'study', 7), call(1, 'Front door', 'frontdoor', 8, { acceptedCall: false, callLength: '0' }), call(2, 'Hall', 'hall', 9, { receivedCall: false })];
}

/** What a screen needed is over. */
function calmDown() {
    for (const call of [...host.calls.values()]) host.end(call, 200, '', 'command');
    host.tokens = null;
    host.callControl = true;
    host.device(102).answerWithVideo = true;
}

/** Brings a page to each screen in turn. */
const SCREENS = {
    home: async () => {},
    device: (page) => page.getByRole('button', { name: /^Front door/ }).click(),
    group: (page) => page.getByRole('button', { name: /^Upstairs/ }).click(),
    calls: (page) => page.getByRole('button', { name: 'Calls', exact: true }).click(),
    contacts: (page) => page.getByRole('button', { name: 'Contacts' }).click(),
    settings: (page) => page.getByRole('button', { name: 'Settings' }).click(),
    announce: (page) => page.getByRole('button', { name: 'Announce' }).click(),
    ringing: async (page) => {
        await host.call('regular', host.device(101), [host.device(102)], { called: 'doorbell' });
        await says(page, 'Somebody is at the door');
    },
    calling: async (page) => {
        await page.evaluate(() => window.tablet.call(window.tablet.home.device('105'), 'sound'));
        await says(page, 'Hang up');
    },
    talking: async (page) => {
        await host.call('regular', host.device(105), [host.device(102)]);
        await page.getByRole('button', { name: 'Answer' }).click();
        await untilTrue(page, () => window.tablet.calls.foremost?.state === 'up');
    },
    picture: async (page) => {
        await host.call('regular', host.device(101), [host.device(102)], { called: 'doorbell' });
        await page.getByRole('button', { name: 'With picture' }).click();
        await untilTrue(page, () => document.querySelector('.picture')?.videoWidth > 0 && !document.querySelector('.picture').hidden);
    },
    monitored: async (page) => {
        await host.call('monitor', host.device(105), [host.device(102)]);
        await page.locator('.live-row.watched').waitFor();
    },
    signIn: async (page) => {
        host.tokens = new Map();
        await page.evaluate(() => window.tablet.signIn('unknown'));
        await says(page, 'This tablet is not signed in');
        await says(page, 'The home does not know this token');
    },
    signedIn: async (page) => {
        host.tokens = new Map([['key', { role: 'tablet', tablet: 'kitchen' }]]);
        await page.evaluate(() => window.tablet.signIn('key'));
        await page.evaluate(() => window.tablet.go('settings', 'sign-out'));
        await page.getByRole('button', { name: 'Really sign out?' }).scrollIntoViewIfNeeded();
    },
    unseen: async (page) => {
        host.change(102, { answerWithVideo: false }, 'DeviceSendVideoChanged');
        await page.evaluate(() => window.tablet.keepPrivate('103'));
        await says(page, 'Others do not see you');
    },
    asked: async (page) => {
        await host.call('regular', host.device(101), [host.device(102)], { called: 'doorbell' });
        await page.getByRole('button', { name: /Open the door/ }).waitFor();
        await page.evaluate(() => window.tablet.buttons.press(window.tablet.home.device('101'), { id: '1', name: 'Open the door' }));
        await says(page, 'Front door: asked to open');
    },
    controlAway: async (page) => {
        await SCREENS.picture(page);
        host.setCallControl(false);
        await says(page, 'The call goes on');
    },
    missing: async (page) => {
        await page.evaluate(() => {
            window.tablet.microphoneLack = 'refused';
            window.tablet.callControl.isUp = false;
            window.tablet.changed();
        });
        await says(page, 'The microphone is blocked');
    },
};

for (const [screen, show] of Object.entries(SCREENS))
    for (const colorScheme of ['light', 'dark'])
        test(`axe finds nothing: ${screen}, ${colorScheme}`, async () => {
            furnish();
            const all = process.env.SHOTS ? SIZES : [SIZES[2]];
            for (const [width, height] of all) {
                const page = await openTablet(browser, host, 'kitchen', { tone: 440, colorScheme, viewport: { width, height } });
                await show(page);
                if (process.env.SHOTS) {
                    fs.mkdirSync(process.env.SHOTS, { recursive: true });
                    await page.screenshot({ path: `${process.env.SHOTS}/${screen}-${width}-${colorScheme}.png` });
                }
                assert.deepEqual(await faults(page), []);
                assert.equal(await page.evaluate(() => document.scrollingElement.scrollWidth > innerWidth), false, 'nothing is wider than the screen');
                await closeAll(page);
                calmDown();
            }
        });

/** Buttons that nobody can touch: beyond an edge to which nothing scrolls, or under something else. */
const outOfReach = (page) =>
    page.evaluate(() => {
        const isScrolled = (element) => /auto|scroll/.test(getComputedStyle(element).overflowY) && element.scrollHeight > element.clientHeight + 1;
        const wrong = [];
        for (const button of document.querySelectorAll('#app button, #app summary, #app input:not([type=radio])')) {
            let scroller = button.parentElement;
            while (scroller && !isScrolled(scroller)) scroller = scroller.parentElement;
            if (scroller) scroller.scrollTop += button.getBoundingClientRect().top - scroller.getBoundingClientRect().top - scroller.clientHeight / 3;
            const { top, bottom, left, right, width } = button.getBoundingClientRect();
            if (!width) continue;
            const there = document.elementFromPoint((left + right) / 2, (top + bottom) / 2);
            if (top < -1 || bottom > innerHeight + 1 || !there || !(button.contains(there) || there.closest('label')?.contains(button)))
                wrong.push(`${button.innerText || button.ariaLabel}: ${Math.round(top)} to ${Math.round(bottom)}, under ${there?.className}`);
        }
        return wrong;
    });

for (const [screen, show] of Object.entries(SCREENS))
    test(`everything can be reached on a telephone: ${screen}`, async () => {
        furnish();
        for (const [width, height] of TELEPHONES) {
            const page = await openTablet(browser, host, 'kitchen', { tone: 440, viewport: { width, height } });
            await show(page);
            if (process.env.SHOTS) await page.screenshot({ path: `${process.env.SHOTS}/${screen}-${width}x${height}.png` });
            assert.deepEqual(await outOfReach(page), [], `at ${width} x ${height}`);
            assert.equal(await page.evaluate(() => document.scrollingElement.scrollWidth > innerWidth), false, 'nothing is wider than the screen');
            await closeAll(page);
            calmDown();
        }
    });

test('contrast on the screens of calls is at least 7 to 1', async () => {
    const page = await openTablet(browser, host, 'kitchen', { tone: 440 });
    await SCREENS.ringing(page);
    const { violations } = await faults(page).then(() => page.evaluate(() => window.axe.run('.answers', { runOnly: ['color-contrast-enhanced'], rules: { 'color-contrast-enhanced': { enabled: true } } })));
    assert.deepEqual(violations.map(({ nodes }) => nodes.map((node) => node.html)), []);
    await closeAll(page);
});

test('what must be touched is large enough', async () => {
    furnish();
    const page = await openTablet(browser, host, 'kitchen', { viewport: { width: 320, height: 640 } });
    const tiles = await page.locator('.tile').evaluateAll((all) => all.map((tile) => tile.getBoundingClientRect()).map(({ width, height }) => Math.min(width, height)));
    assert.ok(Math.min(...tiles) >= 96, `${tiles}`);
    const buttons = await page.locator('button').evaluateAll((all) => all.map((element) => element.getBoundingClientRect().height));
    assert.ok(Math.min(...buttons) >= 48, `${buttons}`);
    await closeAll(page);
});

test('who wants no motion gets a change of brightness', async () => {
    const page = await openTablet(browser, host, 'kitchen', { tone: 440, reducedMotion: 'reduce' });
    await SCREENS.ringing(page);
    assert.equal(await page.locator('.pulse').evaluate((element) => getComputedStyle(element).animationName), 'glow');
    await closeAll(page);
});

// ---- texts of strangers

const CORPUS = [
    '<img src=x onerror="window.ran=1">', '<script>window.ran=1</script>', '"><svg onload=window.ran=1>', "' onfocus=window.ran=1 autofocus x='",
    '{{constructor.constructor("window.ran=1")()}}', '${window.ran=1}', '<iframe srcdoc="<script>parent.ran=1</script>">', 'javascript:window.ran=1',
    '</title><script>window.ran=1</script>', '<a href="javascript:window.ran=1">x</a>', '\u202Eevil\u202C <b>x</b>', '&lt;img src=x onerror=window.ran=1&gt;',
];

for (const text of CORPUS)
    test(`no text runs, and each is shown as it is: ${JSON.stringify(text)}`, async () => {
        host.home = text;
        host.device(105).name = text;
        host.groups[0].name = text;
        host.external = true;
        host.contacts = `<contact><contactId>1</contactId><displayName>${text.replace(/[<&]/g, (c) => `&#${c.charCodeAt(0)};`)}</displayName><phoneType><home speedDial="true">${text.replace(/[<&]/g, (c) => `&#${c.charCodeAt(0)};`)}</home></phoneType></contact>`;
        host.recents = [{ id: 0, displayName: text, aor: text, callTime: text, callLength: text, receivedCall: true, acceptedCall: true }];
        host.buttons.set('101', [text]);
        const page = await openTablet(browser, host, 'kitchen', { tone: 440 });
        assert.equal(await page.getByRole('heading', { level: 1 }).textContent(), text);
        assert.ok((await page.locator('.tile-name').allTextContents()).includes(text));
        for (const place of ['recents', 'contacts', 'announce', 'settings']) {
            await page.evaluate((to) => window.tablet.go(to), place);
            if (place !== 'settings') await until(async () => (await page.locator('#app').textContent()).includes(text));
        }
        await page.evaluate(() => window.tablet.go('device', '101'));
        await until(async () => (await page.locator('.held').textContent()).includes(text));
        await page.evaluate(() => window.tablet.go('group', '1'));
        await until(async () => (await page.getByRole('heading', { level: 1 }).textContent()) === text);
        await host.call('regular', { ...host.device(105), key: text }, [host.device(102)], { called: text });
        await until(async () => (await page.locator('.who').textContent()) === text);
        await page.getByRole('button', { name: 'Decline' }).click();
        host.failures.set('setDeviceState', [200, `<fail>${text.replace(/[<&]/g, (c) => `&#${c.charCodeAt(0)};`)}</fail>`]);
        await page.evaluate(() => window.tablet.set('dnd', 'true'));
        await until(async () => (await page.locator('.sentence').textContent()).includes(text));
        assert.equal(await page.evaluate(() => window.ran), undefined);
        assert.equal(await page.locator('#app img, #app script, #app iframe, #app a, #app b').count(), 0);
        await closeAll(page);
    });

// ---- the first load

test('the first load is small, and nothing comes from anywhere else', async () => {
    const page = await (await browser.newContext()).newPage();
    const requests = [];
    page.on('request', (request) => requests.push(request.url()));
    // The home is there without what is fetched after it.
    await page.route(/views[/](announce|pages|session)[.]js$/, (route) => route.abort());
    await page.goto(`${host.url}/tablet/kitchen`);
    await untilTrue(page, () => window.tablet?.home.isRead && !!document.querySelector('.tile'));
    // The files' own bytes as they come, without HTTP's heads and the answers of commands.
    const sizes = await page.evaluate(() => performance.getEntries().filter(({ name, encodedBodySize }) => encodedBodySize && !/^[/](drivers|tablets|session)([/]|$)/.test(new URL(name, location.href).pathname)).map((entry) => entry.encodedBodySize));
    const bytes = sizes.reduce((sum, size) => sum + size, 0);
    assert.ok(sizes.length > 20, `${sizes.length} files`);
    const usable = await page.evaluate(() => Math.round(performance.getEntriesByType('navigation')[0].domInteractive));
    console.log(`first load: ${bytes} bytes in ${requests.length} requests; interactive after ${usable} ms`);
    assert.ok(bytes <= FIRST_LOAD_BYTES, `${bytes} bytes`);
    assert.deepEqual(requests.filter((url) => !url.startsWith(host.url)), []);
    await page.context().close();
});

test('it can be installed: manifest and icons are there', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    const session = await page.context().newCDPSession(page);
    const { errors, data } = await session.send('Page.getAppManifest');
    assert.deepEqual(errors, []);
    for (const { src } of JSON.parse(data).icons) {
        const icon = await page.evaluate(async (address) => { const image = new Image(); image.src = address; await image.decode(); return image.naturalWidth; }, src);
        assert.ok(icon > 0, src);
    }
    await closeAll(page);
});
