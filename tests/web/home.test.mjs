// The tablet at rest: what it shows of the home, what it says is missing, its settings.
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { cleanUp, closeAll, launch, openTablet, startHome, until, untilTrue } from './support.mjs';

let browser;
let host;
before(async () => (browser = await launch()));
after(() => browser.close());
beforeEach(async () => (host = await startHome()));
afterEach(() => cleanUp(browser, host));

const tiles = (page) => page.locator('.tile-name').allTextContents();
const stateOf = (page, name) => page.locator('.tile', { hasText: name }).locator('.tile-state').innerText();
const notices = async (page) => (await page.locator('.notice p').allTextContents()).join(' ');

test('devices and groups stand in display order, without the tablet itself and what is hidden', async () => {
    host.device(105).excludeFromNav = true;
    const page = await openTablet(browser, host, 'kitchen');
    assert.deepEqual(await tiles(page), ['Front door', 'Study', 'Nursery', 'Upstairs']);
    assert.equal(await page.getByRole('heading', { level: 1 }).innerText(), 'Oak Lane 5');
    await closeAll(page);
});

test('what changes in the home changes on the screen, and nothing else moves', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    assert.equal(await stateOf(page, 'Hall'), 'Free');
    const tile = await page.locator('.tile', { hasText: 'Hall' }).elementHandle();
    host.change(105, { state: 3 }, 'DeviceCurrentStateChanged');
    await until(async () => (await stateOf(page, 'Hall')) === 'In a call');
    host.change(105, { state: 4 }, 'DeviceCurrentStateChanged');
    await until(async () => (await stateOf(page, 'Hall')) === 'Away');
    host.change(105, { state: 0, dnd: true }, 'DeviceChanged');
    await until(async () => (await stateOf(page, 'Hall')) === 'Do not disturb');
    assert.ok(await tile.evaluate((element) => element.isConnected), 'it is the same tile');
    host.addDevice({ id: 106, key: 'attic', name: 'Attic' });
    host.notify('<DeviceAdded><id>106</id></DeviceAdded>');
    await until(async () => (await tiles(page)).includes('Attic'));
    await closeAll(page);
});

test('without the host it says so, and comes back by itself', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    const restart = await host.crash();
    await until(async () => (await notices(page)).includes('No connection to the home'));
    assert.ok(await page.getByRole('button', { name: 'Try now' }).isVisible());
    host.device(105).name = 'Hall upstairs';
    await restart();
    await until(async () => (await tiles(page)).includes('Hall upstairs') && (await notices(page)) === '');
    await closeAll(page);
});

test('a stream that breaks for a moment is no news', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    for (const { response } of host.readers.values()) response.destroy();
    await until(() => host.sent('tabletHello').length === 2);
    assert.equal(await notices(page), '');
    await closeAll(page);
});

test('a connection that is dead without a word is noticed', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    host.deaf.add('tabletHello');
    await page.evaluate(() => {
        const { setTimeout } = window;
        window.setTimeout = (deed, time) => setTimeout(deed, Math.min(time, 50));
        window.tablet.checkStream();
    });
    await until(() => host.lastReader > 1);
    await closeAll(page);
});

test('an address without such a tablet says what to do', async () => {
    const page = await openTablet(browser, host, 'cellar', { wait: false });
    await until(async () => (await notices(page)).includes('This home has no tablet called “cellar”'));
    await closeAll(page);
});

test('call control that is away is said, and that it is back', async () => {
    host.callControl = false;
    const page = await openTablet(browser, host, 'kitchen');
    await until(async () => (await notices(page)).includes('telephony has stopped'));
    host.toTablet(host.device(102), '<callControl up="true"/>');
    await until(async () => (await notices(page)) === '');
    await closeAll(page);
});

test('a blocked microphone is said with the way out', async () => {
    const refuse = () => {
        navigator.mediaDevices.getUserMedia = async () => { throw new DOMException('no', 'NotAllowedError'); };
        navigator.permissions.query = async () => ({ state: 'denied' });
    };
    const page = await openTablet(browser, host, 'kitchen', { script: refuse });
    await until(async () => (await notices(page)).includes('The microphone is blocked'));
    await page.getByRole('button', { name: 'Allow' }).click();
    assert.match(await notices(page), /Allow it beside the address/);
    await closeAll(page);
});

test('the microphone is asked for by a touch, not by surprise', async () => {
    const ask = () => {
        let state = 'prompt';
        navigator.permissions.query = async () => ({ state });
        const { getUserMedia } = navigator.mediaDevices;
        navigator.mediaDevices.getUserMedia = function (wanted) {
            state = 'granted';
            window.wanted = wanted;
            return getUserMedia.call(this, wanted);
        };
    };
    const page = await openTablet(browser, host, 'kitchen', { script: ask });
    assert.match(await notices(page), /Calls need the microphone/);
    await page.getByRole('button', { name: 'Allow' }).click();
    await until(async () => (await notices(page)) === '');
    assert.deepEqual(await page.evaluate(() => window.wanted.audio), { echoCancellation: true, noiseSuppression: true, autoGainControl: true });
    await closeAll(page);
});

test('no microphone and no camera are said', async () => {
    const page = await openTablet(browser, host, 'kitchen', { script: () => { navigator.mediaDevices.enumerateDevices = async () => []; } });
    await until(async () => (await notices(page)).includes('No microphone was found') && (await notices(page)).includes('No camera was found'));
    await closeAll(page);
});

test('an address that is not secure leads to the one that is', async () => {
    const page = await openTablet(browser, { url: `http://insecure.test:${host.port}` }, 'kitchen', { permissions: [] });
    assert.match(await notices(page), /its address is not secure/);
    assert.ok(await page.getByRole('button', { name: 'Open the secure address' }).isVisible());
    await closeAll(page);
});

test('a silent page asks for a touch, and any touch does', async () => {
    const strict = await launch({ needsTouch: true });
    const page = await openTablet(strict, host, 'kitchen');
    assert.match(await notices(page), /stays silent until it has been touched/);
    await page.getByRole('heading', { level: 1 }).click();
    await until(async () => (await notices(page)) === '');
    await closeAll(page);
    await strict.close();
});

test('do-not-disturb says until when, and ends then', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    const dnd = page.getByRole('switch', { name: /Do not disturb/ });
    assert.equal(await dnd.getAttribute('aria-checked'), 'false');
    await dnd.click();
    await page.getByRole('button', { name: 'For one hour' }).click();
    await until(() => host.device(102).dnd === true);
    await page.getByRole('button', { name: 'Back' }).click();
    assert.match(await dnd.innerText(), /Until \d\d:\d\d/);
    await page.evaluate(() => { window.tablet.settings.dndUntil = Date.now() - 1; });
    await until(() => host.device(102).dnd === false);
    assert.match(await dnd.innerText(), /This tablet rings/);
    await closeAll(page);
});

test('settings go through the agent; those that others change are shown', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    await page.getByRole('button', { name: 'Settings' }).click();
    await page.getByRole('switch', { name: 'Ring for the doorbell' }).click();
    await until(() => host.device(102).ringDoorbell === true);
    assert.deepEqual(host.sent('setDeviceState')[0].fields, { idDevice: '102', ringDoorbell: 'true' });
    host.change(102, { autoAnswer: true }, 'DeviceAutoAnswerChanged');
    await until(async () => (await page.getByRole('switch', { name: 'Answer calls by itself' }).getAttribute('aria-checked')) === 'true');
    host.failures.set('setDeviceState', [503, '<error>the state is not stored</error>']);
    await page.getByRole('switch', { name: 'Ring for the doorbell' }).click();
    await until(async () => (await page.locator('.sentence').innerText()).length > 0);
    assert.equal(await page.getByRole('switch', { name: 'Ring for the doorbell' }).getAttribute('aria-checked'), 'true');
    await closeAll(page);
});

test('language and looks are chosen, and kept', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    await page.getByRole('button', { name: 'Settings' }).click();
    await page.getByRole('radio', { name: 'Deutsch' }).check();
    await page.getByRole('radio', { name: 'Dunkel' }).check();
    assert.equal(await page.evaluate(() => document.documentElement.lang), 'de');
    await page.reload();
    await untilTrue(page, () => window.tablet?.home.isRead);
    assert.ok(await page.getByRole('button', { name: 'Durchsage' }).isVisible());
    assert.equal(await page.evaluate(() => getComputedStyle(document.body).backgroundColor), 'rgb(18, 20, 23)');
    await closeAll(page);
});

const missedCall = (id, fields = {}) => ({ id, displayName: 'Front door', aor: 'frontdoor', callTime: '2026-11-22T08:15:00Z', callLength: '0', receivedCall: true, acceptedCall: false, ...fields });

test('missed calls are shown until they were looked at; calls can be made and deleted from the list', async () => {
    host.recents = [missedCall(0), missedCall(1, { displayName: 'Hall', aor: 'hall', callTime: '2026-11-22T09:00:00Z' })];
    const page = await openTablet(browser, host, 'kitchen');
    await page.getByRole('button', { name: '2 missed calls' }).click();
    assert.deepEqual(await page.locator('.row .words > span').allTextContents(), ['Hall', 'Front door']);
    await page.getByRole('button', { name: 'Delete: Front door' }).click();
    await until(async () => (await page.locator('.row').count()) === 1);
    await page.getByRole('button', { name: 'Delete all' }).click();
    assert.equal(host.sent('clearRecentContactList').length, 0, 'it asks first');
    await page.getByRole('button', { name: 'Really delete all calls of the home?' }).click();
    await page.getByText('No calls yet').waitFor();
    await page.getByRole('button', { name: 'Back' }).click();
    assert.equal(await page.locator('.missed').count(), 0);
    await closeAll(page);
});

test('contacts and numbers outside are there when the home has a service for them', async () => {
    host.contacts = '<contact><contactId>1</contactId><displayName>Ann</displayName><phoneType><home speedDial="true">555-0100</home><mobile>555-0199</mobile></phoneType></contact>';
    const page = await openTablet(browser, host, 'kitchen');
    assert.equal(await page.getByRole('button', { name: 'Contacts' }).count(), 0);
    host.notify('<AGENT_EXTERNAL><id>1</id><state>1</state></AGENT_EXTERNAL>');
    await page.getByRole('button', { name: 'Contacts' }).click();
    await page.getByRole('button', { name: 'Ann', exact: true }).click();
    await until(() => host.sent('SIP_EXTERNAL_CALL').length === 1);
    assert.deepEqual(host.sent('SIP_EXTERNAL_CALL')[0].fields, { source: '102', destination: '555-0100', video: '3' });
    await page.getByRole('button', { name: 'Hang up' }).click();
    for (const key of ['0', '4', '4', '#']) await page.getByRole('button', { name: key, exact: true }).click();
    await page.getByRole('button', { name: 'Delete the last digit' }).click();
    await page.getByRole('button', { name: 'Dial', exact: true }).click();
    await until(() => host.sent('SIP_EXTERNAL_CALL')[1]?.fields.destination === '044');
    await closeAll(page);
});

test('the screen rests as a clock; the first touch wakes it and does nothing else', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    await page.evaluate(() => { window.tablet.screen.touched -= 61_000; });
    await page.locator('.rest').waitFor();
    const tile = await page.locator('.tile', { hasText: 'Study' }).boundingBox();
    await page.mouse.click(tile.x + 20, tile.y + 20);
    await until(async () => (await page.locator('.rest').count()) === 0);
    assert.equal(await page.evaluate(() => window.tablet.at.place), 'home');
    await page.mouse.click(tile.x + 20, tile.y + 20);
    assert.equal(await page.evaluate(() => window.tablet.at.place), 'device');
    await closeAll(page);
});

test('pages that could not be fetched are fetched again when they are asked for', async () => {
    const page = await (await browser.newContext()).newPage();
    await page.route('**/views/pages.js', (route) => route.abort());
    await page.goto(`${host.url}/tablet/kitchen`);
    await page.getByRole('button', { name: 'Settings' }).click();
    await page.getByText('Reading the home').waitFor();
    await page.unroute('**/views/pages.js');
    await page.getByRole('heading', { name: 'Settings' }).waitFor();
    await page.context().close();
});

test('a page that closes says so', async () => {
    const page = await openTablet(browser, host, 'kitchen');
    await page.goto('about:blank');
    await until(() => host.sent('tabletBye').length === 1);
    assert.deepEqual(host.sent('tabletBye')[0].fields, { reader: '1' });
    await page.context().close();
});
