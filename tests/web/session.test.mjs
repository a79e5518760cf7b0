// Signing in by the address, by hand, and out again; what is said to who may not.
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { cleanUp, closeAll, launch, openTablet, startHome, until, untilTrue } from './support.mjs';

let browser;
let host;
before(async () => (browser = await launch()));
after(() => browser.close());
beforeEach(async () => {
    host = await startHome();
    host.tokens = new Map([
        ['key of the kitchen/+=', { role: 'tablet', tablet: 'kitchen' }],
        ['study-key', { role: 'tablet', tablet: 'study' }],
        ['master', { role: 'admin' }],
    ]);
});
afterEach(() => cleanUp(browser, host));

const KITCHEN = '#token=key%20of%20the%20kitchen%2F%2B%3D';
const open = (address, more) => openTablet(browser, host, address, { wait: false, ...more });
const says = (page, text) => page.getByText(text).first().waitFor();
const isAtHome = (page) => page.locator('main.home').waitFor();
const isReady = (page) => untilTrue(page, () => window.tablet?.deviceId && window.tablet.home.isRead);
const press = (page, name) => page.getByRole('button', { name, exact: true }).click();
const enter = async (page, token) => {
    await page.getByLabel('Token').fill(token);
    await press(page, 'Sign in');
};

test('the address signs in once, and its token is seen nowhere', async () => {
    const page = await (await browser.newContext()).newPage();
    const requests = [];
    page.on('request', (request) => requests.push(request.url()));
    await page.goto(`${host.url}/tablet/kitchen${KITCHEN}`);
    await isReady(page);
    assert.deepEqual(host.attempts, ['key of the kitchen/+=']);
    assert.equal(page.url(), `${host.url}/tablet/kitchen`);
    assert.deepEqual(requests.filter((url) => /key/i.test(url.replace(/^.*tablet[/]kitchen/, ''))), []);
    assert.equal(await page.evaluate(() => document.cookie + JSON.stringify(localStorage)), '{}');
    await page.reload();
    await isReady(page);
    assert.equal(host.attempts.length, 1, 'the session is kept');
    await page.context().close();
});

test('everything goes on after signing in: the stream, commands, and a stream that breaks', async () => {
    const page = await open(`kitchen${KITCHEN}`);
    await isReady(page);
    host.change(105, { state: 3 }, 'DeviceCurrentStateChanged');
    await says(page, 'In a call');
    await page.evaluate(() => window.tablet.set('ringDoorbell', 'true'));
    await until(() => host.device(102).ringDoorbell === true);
    for (const { response } of host.readers.values()) response.destroy();
    await until(() => host.sent('tabletHello').length === 2);
    assert.equal(await page.locator('.sign-in').count(), 0);
    await closeAll(page);
});

test('who is not signed in is told what to do, and may enter the token or the whole address', async () => {
    const page = await open('kitchen');
    await says(page, 'This tablet is not signed in');
    await says(page, 'Scan the code that belongs to this tablet');
    assert.equal(await page.locator('.tile').count(), 0);
    await enter(page, 'wrong');
    await says(page, 'The home does not know this token');
    assert.equal(await page.getByLabel('Token').inputValue(), 'wrong', 'it can be corrected');
    await enter(page, `${host.url}/tablet/kitchen${KITCHEN}`);
    await isReady(page);
    await isAtHome(page);
    await closeAll(page);
});

test('an address with a wrong token says so', async () => {
    const page = await open('kitchen#token=old');
    await says(page, 'This tablet is not signed in');
    await says(page, 'The home does not know this token');
    assert.ok(!page.url().includes('old'));
    await closeAll(page);
});

test('a wrong token does not sign out who is signed in, and says so', async () => {
    const page = await open(`kitchen${KITCHEN}`);
    await isReady(page);
    await page.goto(`${host.url}/tablet/kitchen#token=old`);
    await says(page, 'The token was not taken');
    await isAtHome(page);
    await closeAll(page);
});

test('too many attempts are said with the time to wait', async () => {
    host.attempts = Array(10).fill('guess');
    const page = await open('kitchen#token=another');
    await says(page, 'Too many attempts. Try again in 42 seconds.');
    await closeAll(page);
});

test('a home that cannot be reached is said, and the token is kept for another try', async () => {
    const page = await open('kitchen');
    await says(page, 'This tablet is not signed in');
    const restart = await host.crash();
    await enter(page, 'study-key');
    await says(page, 'The home cannot be reached');
    await restart();
    assert.equal(await page.getByLabel('Token').inputValue(), 'study-key');
    await closeAll(page);
});

test('another tablet of this browser is no right to this one, until its token is added', async () => {
    const page = await open(`kitchen${KITCHEN}`);
    await isReady(page);
    await page.goto(`${host.url}/tablet/study`);
    await says(page, 'This browser is signed in, but not as “study”');
    await enter(page, 'study-key');
    await isReady(page);
    await page.goto(`${host.url}/tablet/kitchen`);
    await isReady(page);
    await press(page, 'Settings');
    await says(page, 'As Kitchen, study');
    await closeAll(page);
});

test('a session that ends somewhere else leads to the sheet, not to an error', async () => {
    const page = await open(`kitchen${KITCHEN}`);
    await isReady(page);
    host.sessions.clear();
    for (const { response } of host.readers.values()) response.destroy();
    await says(page, 'This tablet is not signed in');
    assert.equal(await page.locator('.sentence').innerText(), '');
    await closeAll(page);
});

test('what this tablet may not do is a sentence', async () => {
    const page = await open(`kitchen${KITCHEN}`);
    await isReady(page);
    host.recents = [{ id: 0, displayName: 'Hall', aor: 'hall', callTime: '2026-11-22T09:00:00Z', callLength: '0', receivedCall: true, acceptedCall: true }];
    host.failures.set('deleteRecentContact', [403, '<error>only admin and household may do that</error>']);
    host.notify('<RecentContactAdded><id>0</id></RecentContactAdded>');
    await press(page, 'Calls');
    await press(page, 'Delete: Hall');
    await says(page, 'This tablet may not do that');
    assert.equal(await page.locator('.sign-in').count(), 0);
    await closeAll(page);
});

test('signing out says what it means, asks, and ends the session and the stream', async () => {
    const page = await open(`kitchen${KITCHEN}`);
    await isReady(page);
    await page.goto(`${host.url}/tablet/kitchen#token=study-key`);
    await until(() => host.attempts.length === 2);
    await isReady(page);
    await press(page, 'Settings');
    await says(page, 'is not called here any more');
    await says(page, 'signed out of study, too');
    await press(page, 'Sign out');
    assert.equal(host.sessions.size, 1, 'it asks first');
    await press(page, 'Really sign out?');
    await says(page, 'This tablet is not signed in');
    assert.equal(host.sessions.size, 0);
    await until(() => host.readers.size === 0);
    await page.reload();
    await says(page, 'This tablet is not signed in');
    await closeAll(page);
});

test('a sign-out that the home does not carry out is said, and nothing changes', async () => {
    const page = await open(`kitchen${KITCHEN}`);
    await isReady(page);
    await press(page, 'Settings');
    await press(page, 'Sign out');
    await page.route('**/session', (route) => route.fulfill({ status: 503, body: '<error>the state is not stored</error>' }));
    await press(page, 'Really sign out?');
    await says(page, 'That did not work: the state is not stored');
    assert.equal(await page.locator('.sign-in').count(), 0);
    await closeAll(page);
});

test('where nobody needs to sign in there is nothing to sign out of', async () => {
    host.tokens = null;
    const page = await open('kitchen');
    await isReady(page);
    await press(page, 'Settings');
    await says(page, 'Nobody needs to sign in');
    assert.equal(await page.getByRole('button', { name: 'Sign out' }).count(), 0);
    await closeAll(page);
});
