// What people do most, by keys alone.
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { addRelay, cleanUp, closeAll, launch, openTablet, startHome, until, untilHeard, untilTrue } from './support.mjs';

const MOST_STEPS = 60;
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
const isAtHome = (page) => page.locator('main.home').waitFor();
async function open(name, tone) {
    const page = await openTablet(browser, host, name, { tone });
    await page.evaluate(() => { window.tablet.calls.farewellTime = 120_000; });
    return page;
}
/** What has the focus, and whether one sees that. */
const focused = (page) =>
    page.evaluate(() => {
        const element = document.activeElement;
        const style = getComputedStyle(element);
        const text = element.getAttribute('aria-label') ?? element.labels?.[0]?.innerText ?? element.innerText;
        return { text: text.trim(), isSeen: style.outlineStyle !== 'none' || element.type === 'radio' };
    });
async function tabTo(page, name, key = 'Tab') {
    for (let step = 0; step < MOST_STEPS; ++step) {
        await page.keyboard.press(key);
        const { text, isSeen } = await focused(page);
        if (!text.startsWith(name)) continue;
        assert.ok(isSeen, `where the focus is, at ${name}`);
        return;
    }
    assert.fail(`no way to ${name} by keys`);
}
const go = async (page, name) => {
    await tabTo(page, name);
    await page.keyboard.press('Enter');
};

test('calling, answering, hanging up', async () => {
    const [kitchen, study] = await Promise.all([open('kitchen', 440), open('study', 880)]);
    await go(kitchen, 'Study');
    await go(kitchen, 'Call');
    await says(study, 'Decline');
    assert.match((await focused(study)).text, /^Answer/);
    await study.keyboard.press('Enter');
    await untilHeard(kitchen, 880);
    assert.match((await focused(study)).text, /^Hang up/);
    await study.keyboard.press('Enter');
    await isAtHome(study);
    await says(kitchen, 'Call ended');
    await closeAll(kitchen, study);
});

test('declining, and going back from the sentence that follows', async () => {
    const [kitchen, study] = await Promise.all([open('kitchen', 440), open('study', 880)]);
    await go(kitchen, 'Study');
    await go(kitchen, 'Call');
    await says(study, 'Decline');
    await tabTo(study, 'Decline', 'Shift+Tab');
    await study.keyboard.press('Space');
    await isAtHome(study);
    await says(kitchen, 'Study does not want to talk now');
    await go(kitchen, 'Back');
    await isAtHome(kitchen);
    await closeAll(kitchen, study);
});

test('opening the door while it rings, and while it does not', async () => {
    const kitchen = await open('kitchen', 440);
    const hold = async () => {
        await kitchen.keyboard.down('Enter');
        await new Promise((done) => setTimeout(done, 700));
        await kitchen.keyboard.up('Enter');
    };
    await go(kitchen, 'Front door');
    await tabTo(kitchen, 'Open the door');
    await hold();
    await until(() => host.sent('CUSTOM_BUTTON').length === 1);
    await says(kitchen, 'Front door: asked to open');
    await host.call('regular', host.device(101), [host.device(102)], { called: 'doorbell' });
    await says(kitchen, 'Somebody is at the door');
    await tabTo(kitchen, 'Open the door', 'Shift+Tab');
    await hold();
    await until(() => host.sent('CUSTOM_BUTTON').length === 2);
    assert.ok(await kitchen.locator('.ringing').isVisible(), 'it rings on');
    await closeAll(kitchen);
});

test('announcing, as long as the key is held, and without holding', async () => {
    const [kitchen, study] = await Promise.all([open('kitchen', 440), open('study', 880)]);
    await go(kitchen, 'Announce');
    await tabTo(kitchen, 'Hold to talk');
    await kitchen.keyboard.down('Space');
    await says(kitchen, 'Speak now');
    await untilHeard(study, 440);
    await kitchen.keyboard.up('Space');
    await says(kitchen, 'Hold to talk');
    await isAtHome(study);
    await go(kitchen, 'Talk without holding');
    await tabTo(kitchen, 'Hold to talk', 'Shift+Tab');
    await kitchen.keyboard.press('Enter');
    await says(kitchen, 'Speak now');
    await untilHeard(study, 440);
    await kitchen.keyboard.press('Enter');
    await isAtHome(study);
    await closeAll(kitchen, study);
});

test('settings: a switch, the volume, the language, do-not-disturb, and back by Escape', async () => {
    const page = await open('kitchen', 440);
    await go(page, 'Settings');
    await tabTo(page, 'Ring for the doorbell');
    await page.keyboard.press('Space');
    await until(() => host.device(102).ringDoorbell === true);
    await tabTo(page, 'Volume');
    await page.keyboard.press('ArrowLeft');
    await until(() => String(host.device(102).speakerVolume) === '79');
    await tabTo(page, 'As the browser');
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press('ArrowRight');
    await says(page, 'Einstellungen');
    await tabTo(page, 'Eine Stunde lang', 'Shift+Tab');
    await page.keyboard.press('Enter');
    await until(() => host.device(102).dnd === true);
    await page.keyboard.press('Escape');
    await isAtHome(page);
    await closeAll(page);
});

test('signing in', async () => {
    host.tokens = new Map([['secret', { role: 'tablet', tablet: 'kitchen' }]]);
    const page = await openTablet(browser, host, 'kitchen', { wait: false });
    await says(page, 'This tablet is not signed in');
    await tabTo(page, 'Token');
    await page.keyboard.type('secret');
    await page.keyboard.press('Enter');
    await untilTrue(page, () => window.tablet.deviceId && window.tablet.home.isRead);
    await closeAll(page);
});
