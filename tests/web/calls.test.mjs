// Calls between pages: real connections, known tones, through the fake host's relay.
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { addRelay, cleanUp, closeAll, launch, openTablet, startHome, touchTile, until, untilHeard, untilTrue } from './support.mjs';

let browser;
let host;
before(async () => (browser = await launch()));
after(() => browser.close());
beforeEach(async () => {
    host = await startHome();
    await addRelay(host, browser);
});
afterEach(() => cleanUp(browser, host));

/** Its sentences stay until somebody goes back, however slow this machine is. */
async function open(name, tone, more) {
    const page = await openTablet(browser, host, name, { tone, ...more });
    await page.evaluate(() => { window.tablet.calls.farewellTime = 120_000; });
    return page;
}
const both = () => Promise.all([open('kitchen', 440), open('study', 880)]);
const says = (page, text) => page.getByText(text).first().waitFor();
const isAtHome = (page) => page.locator('main.home').waitFor();
const goesBack = async (page) => {
    await press(page, 'Back');
    await isAtHome(page);
};
const press = (page, name) => page.getByRole('button', { name, exact: true }).click();
const holdDown = async (page, locator, milliseconds) => {
    await locator.hover();
    await page.mouse.down();
    await new Promise((done) => setTimeout(done, milliseconds));
    await page.mouse.up();
};

/** A call from the kitchen that the study has answered. */
async function talking(answer = 'Answer') {
    const [kitchen, study] = await both();
    await touchTile(kitchen, 'Study', answer === 'Answer' ? 'Call' : 'Call with picture');
    await press(study, answer);
    await Promise.all([kitchen, study].map((page) => untilTrue(page, () => window.tablet.calls.foremost?.state === 'up')));
    return [kitchen, study];
}

test('two tablets talk: each hears the other, and both are told of the end', async () => {
    const [kitchen, study] = await both();
    await touchTile(kitchen, 'Study', 'Call');
    await says(kitchen, 'Rings at Study');
    await says(study, 'Kitchen');
    await press(study, 'Answer');
    await Promise.all([untilHeard(kitchen, 880), untilHeard(study, 440)]);
    await says(kitchen, 'Microphone on');
    await press(kitchen, 'Hang up');
    await isAtHome(kitchen);
    await says(study, 'Call ended');
    await goesBack(study);
    assert.equal(await study.locator('.live-row').count(), 0);
    await closeAll(kitchen, study);
});

test('what is asked of the agent is sound alone or a picture, and the microphone is opened with all its cleaning', async () => {
    const [kitchen, study] = await talking();
    assert.deepEqual(host.sent('SIP_REGULAR_CALL')[0].fields, { source: '102', destination: '103', video: '3', ring: '1' });
    assert.deepEqual(await kitchen.evaluate(() => window.captures), [{ audio: { echoCancellation: true, noiseSuppression: true, autoGainControl: true } }]);
    const [answer] = host.sent('tabletAnswer');
    assert.ok(answer.fields.sdp.length < 4000, `an answer of ${answer.fields.sdp.length} bytes`);
    const codecs = new Set([...answer.fields.sdp.matchAll(/^a=rtpmap:\d+ ([\w-]+)/gm)].map(([, codec]) => codec));
    assert.deepEqual([...codecs].sort(), ['H264', 'PCMA', 'PCMU', 'VP8', 'opus', 'rtx', 'telephone-event'].sort());
    await closeAll(kitchen, study);
});

test('with picture each sees the other; the camera can be switched off and on', async () => {
    const [kitchen, study] = await talking('With picture');
    for (const page of [kitchen, study]) await untilTrue(page, () => document.querySelector('.picture')?.videoWidth > 0 && !document.querySelector('.picture').hidden);
    await says(study, 'Microphone and camera on');
    await kitchen.getByRole('button', { name: 'Camera', exact: true }).click();
    await untilTrue(study, () => document.querySelector('.picture').hidden);
    await kitchen.getByRole('button', { name: 'Camera', exact: true }).click();
    await untilTrue(study, () => !document.querySelector('.picture').hidden);
    await closeAll(kitchen, study);
});

test('the own picture is moved by keys and hidden', async () => {
    const [kitchen, study] = await talking('With picture');
    const own = kitchen.locator('.own');
    const before = await own.boundingBox();
    await own.focus();
    await kitchen.keyboard.press('ArrowLeft');
    assert.equal((await own.boundingBox()).x, before.x - 16);
    await kitchen.getByRole('button', { name: 'Hide own picture' }).click();
    assert.equal(await kitchen.locator('.own video').count(), 0);
    await closeAll(kitchen, study);
});

test('a muted microphone sends silence and is not live', async () => {
    const [kitchen, study] = await talking();
    await untilHeard(study, 440);
    await press(kitchen, 'Mute');
    assert.equal(await kitchen.locator('.live-row').count(), 0);
    assert.equal(await kitchen.evaluate(() => window.tablet.calls.foremost.leg.tracks.audio.enabled), false);
    await press(kitchen, 'Muted');
    await says(kitchen, 'Microphone on');
    await closeAll(kitchen, study);
});

test('a held call sends nothing, at either end, until it is resumed', async () => {
    const [kitchen, study] = await talking();
    await untilHeard(study, 440);
    await press(kitchen, 'Hold');
    await says(kitchen, 'On hold');
    await says(study, 'Kitchen has put the call on hold');
    await untilTrue(kitchen, () => window.tablet.calls.foremost.leg.connection.getSenders().every(({ track }) => !track));
    await until(async () => {
        const before = await host.relay('packetsFrom', '1', 'kitchen');
        await new Promise((done) => setTimeout(done, 300));
        return before === (await host.relay('packetsFrom', '1', 'kitchen'));
    });
    await press(kitchen, 'Resume');
    await Promise.all([untilHeard(kitchen, 880), untilHeard(study, 440)]);
    await closeAll(kitchen, study);
});

test('who is called may decline, and the caller is told in plain words', async () => {
    const [kitchen, study] = await both();
    await touchTile(kitchen, 'Study', 'Call');
    await press(study, 'Decline');
    await isAtHome(study);
    await says(kitchen, 'Study does not want to talk now');
    await goesBack(kitchen);
    await closeAll(kitchen, study);
});

test('the sentence of an ended call goes by itself', async () => {
    const kitchen = await openTablet(browser, host, 'kitchen', { tone: 440 });
    await touchTile(kitchen, 'Nursery', 'Call');
    await untilTrue(kitchen, () => window.tablet.calls.list.length === 1);
    await isAtHome(kitchen);
    await closeAll(kitchen);
});

test('who is not to be disturbed does not ring; who is not there is said', async () => {
    const [kitchen, study] = await both();
    host.change(103, { dnd: true }, 'DeviceDnDChanged');
    await kitchen.locator('.tile', { hasText: 'Study' }).getByText('Do not disturb').waitFor();
    await touchTile(kitchen, 'Study', 'Call');
    await says(kitchen, 'Study does not want to be disturbed');
    assert.equal(await study.locator('.ringing').count(), 0);
    await press(kitchen, 'Back');
    await touchTile(kitchen, 'Nursery', 'Call');
    await says(kitchen, 'Nursery cannot be reached');
    await closeAll(kitchen, study);
});

test('a caller may give up; the other stops ringing', async () => {
    const [kitchen, study] = await both();
    await touchTile(kitchen, 'Study', 'Call');
    await says(study, 'Decline');
    await press(kitchen, 'Hang up');
    await isAtHome(kitchen);
    await says(study, 'Missed call from Kitchen');
    assert.equal(await study.evaluate(() => window.tablet.sounds.ringing), null);
    await closeAll(kitchen, study);
});

test('a call that was given up before the home made it never begins', async () => {
    const [kitchen, study] = await both();
    const { offer } = { offer: host.relay };
    let go;
    host.relay = async (...all) => { await new Promise((done) => (go = done)); host.relay = offer; return offer(...all); };
    await touchTile(kitchen, 'Study', 'Call');
    await until(() => go);
    await press(kitchen, 'Hang up');
    await isAtHome(kitchen);
    go();
    await until(() => host.calls.size === 0);
    await isAtHome(kitchen);
    assert.equal(await study.locator('.ringing').count(), 0);
    await closeAll(kitchen, study);
});

test('an order that the home does not carry out is said', async () => {
    const kitchen = await open('kitchen', 440);
    host.failures.set('SIP_REGULAR_CALL', [503, '<error>the driver does not run</error>']);
    await touchTile(kitchen, 'Study', 'Call');
    await says(kitchen, 'The call to Study could not be made');
    await closeAll(kitchen);
});

test('the door rings at every tablet, in the whole screen; one answers, the others are told where', async () => {
    const [kitchen, study] = await both();
    const call = await host.call('regular', host.device(101), [host.device(102), host.device(103)], { called: 'doorbell' });
    for (const page of [kitchen, study]) {
        await says(page, 'Somebody is at the door');
        assert.equal(await page.locator('main').count(), 1);
        assert.equal(await page.evaluate(() => window.tablet.sounds.ringing), 'door');
    }
    await says(kitchen, 'Also rings at Study');
    const names = await kitchen.locator('.answers button').allInnerTexts();
    assert.deepEqual(names.map((name) => name.trim()), ['Decline', 'Answer', 'With picture']);
    await press(kitchen, 'Answer');
    await says(study, 'Answered in Kitchen');
    await goesBack(study);
    await untilHeard(kitchen, 1000);
    await untilTrue(kitchen, () => document.querySelector('.picture')?.videoWidth > 0);
    host.end(call, 200, 'Hung up', 'frontdoor');
    await says(kitchen, 'Call ended');
    await closeAll(kitchen, study);
});

test('the door opens only for who holds the button for half a second', async () => {
    const kitchen = await open('kitchen', 440);
    await host.call('regular', host.device(101), [host.device(102)], { called: 'doorbell' });
    const door = kitchen.getByRole('button', { name: /Open the door/ });
    await holdDown(kitchen, door, 250);
    await kitchen.keyboard.down('Tab');
    await new Promise((done) => setTimeout(done, 600));
    assert.equal(host.sent('CUSTOM_BUTTON').length, 0, 'a touch is not enough');
    await holdDown(kitchen, door, 700);
    await until(() => host.sent('CUSTOM_BUTTON').length === 1);
    assert.deepEqual(host.sent('CUSTOM_BUTTON')[0].fields, { idDevice: '101', button: '1', idButton: '1' });
    await door.focus();
    await kitchen.keyboard.down('Enter');
    await new Promise((done) => setTimeout(done, 700));
    await kitchen.keyboard.up('Enter');
    await until(() => host.sent('CUSTOM_BUTTON').length === 2);
    assert.ok(await kitchen.locator('.ringing').isVisible(), 'it rings on');
    await closeAll(kitchen);
});

test('a door is only said to be open when it says so itself', async () => {
    const kitchen = await open('kitchen', 440);
    await host.call('regular', host.device(101), [host.device(102)], { called: 'doorbell' });
    const door = kitchen.getByRole('button', { name: /Open the door/ });
    await holdDown(kitchen, door, 700);
    await says(kitchen, 'Front door: asked to open');
    assert.match(await door.innerText(), /asked to open/);
    host.pressed(101, 1, true);
    await says(kitchen, 'Open the door: done');
    assert.match(await door.innerText(), /opened/);
    host.pressed(101, 1, false);
    await says(kitchen, 'Open the door: this did not work');
    assert.match(await door.innerText(), /did not open/);
    await closeAll(kitchen);
});

test('what somebody else has opened is shown, and not said', async () => {
    const kitchen = await open('kitchen', 440);
    await host.call('regular', host.device(101), [host.device(102)], { called: 'doorbell' });
    const door = kitchen.getByRole('button', { name: /Open the door/ });
    await door.waitFor();
    host.pressed(101, 1, true);
    await until(async () => /opened/.test(await door.innerText()));
    assert.equal(await kitchen.locator('.sentence').innerText(), '');
    await closeAll(kitchen);
});

test('a door that was not opened is said', async () => {
    const kitchen = await open('kitchen', 440);
    host.failures.set('CUSTOM_BUTTON', [503, '<error>the driver does not run</error>']);
    await kitchen.getByRole('button', { name: /^Front door/ }).click();
    await holdDown(kitchen, kitchen.getByRole('button', { name: /Open the door/ }), 700);
    await says(kitchen, 'Open the door: this did not work');
    await closeAll(kitchen);
});

test('who is listened to sees by whom, on every screen, and can end it; who listens opens no microphone', async () => {
    const [kitchen, study] = await both();
    await touchTile(kitchen, 'Study', 'Listen and look');
    const sign = study.locator('.live-row.watched');
    await sign.waitFor();
    assert.match(await sign.innerText(), /Kitchen is listening and watching/);
    await untilHeard(kitchen, 880);
    assert.deepEqual(await kitchen.evaluate(() => window.captures), []);
    await press(study, 'Settings');
    assert.ok(await sign.isVisible());
    await host.call('regular', host.device(101), [host.device(103)], { called: 'doorbell' });
    await says(study, 'Somebody is at the door');
    assert.ok(await sign.isVisible(), 'over a ringing door, too');
    await sign.getByRole('button', { name: 'End' }).click();
    await until(async () => (await sign.count()) === 0);
    await says(kitchen, 'Call ended');
    await closeAll(kitchen, study);
});

test('an announcement lasts as long as the button is held; listeners are ticked, who is left out is told why', async () => {
    const [kitchen, study] = await both();
    host.change(105, { dnd: true }, 'DeviceDnDChanged');
    await press(kitchen, 'Announce');
    await says(kitchen, 'does not want to be disturbed');
    const talk = kitchen.getByRole('button', { name: 'Hold to talk' });
    await talk.hover();
    await kitchen.mouse.down();
    await says(kitchen, 'Speak now');
    await kitchen.locator('.listeners .good', { hasText: 'Study' }).waitFor();
    await kitchen.locator('.listeners .bad', { hasText: 'Nursery' }).waitFor();
    await untilHeard(study, 440);
    assert.deepEqual(await study.evaluate(() => window.captures), [], 'who hears opens no microphone');
    assert.equal(host.sent('SIP_BROADCAST_CALL')[0].fields.destinations, '<ids><id>103</id><id>104</id></ids>');
    await kitchen.mouse.up();
    await says(kitchen, 'Hold to talk');
    await isAtHome(study);
    await closeAll(kitchen, study);
});

test('an announcement to a group can go on without holding', async () => {
    const [kitchen, study] = await both();
    await press(kitchen, 'Announce');
    await kitchen.getByRole('radio', { name: 'Upstairs' }).check();
    await press(kitchen, 'Talk without holding');
    await kitchen.getByRole('button', { name: 'Hold to talk' }).click();
    await says(kitchen, 'Speak now');
    await kitchen.getByRole('button', { name: 'Speak now' }).click();
    await isAtHome(study);
    await until(() => host.calls.size === 0);
    await closeAll(kitchen, study);
});

test('of two pages of a tablet both ring and one answers', async () => {
    const [kitchen, study, other] = await Promise.all([open('kitchen', 440), open('study', 880), open('study', 990)]);
    await touchTile(kitchen, 'Study', 'Call');
    await says(other, 'Decline');
    await press(study, 'Answer');
    await says(other, 'Answered in Study');
    await goesBack(other);
    await untilHeard(kitchen, 880);
    await closeAll(kitchen, study, other);
});

test('who rings while another call goes on is answered, and the first is held and comes back', async () => {
    const [kitchen, study] = await talking();
    const call = await host.call('regular', host.device(101), [host.device(102)], { called: 'doorbell' });
    await says(kitchen, 'Somebody is at the door');
    assert.equal(await kitchen.evaluate(() => window.tablet.sounds.ringing), 'knock');
    await press(kitchen, 'Answer');
    await says(study, 'Kitchen has put the call on hold');
    host.end(call, 200, 'Hung up', 'frontdoor');
    await press(kitchen, 'Resume');
    await untilHeard(study, 440);
    await closeAll(kitchen, study);
});

test('a page that closes in a call leaves it', async () => {
    const [kitchen, study] = await talking();
    await study.goto('about:blank');
    await says(kitchen, 'Call ended');
    await closeAll(kitchen);
    await study.context().close();
});

test('a call outlives a stream that breaks: the page comes back as another reader', async () => {
    const [kitchen, study] = await talking();
    const [reader] = host.pagesOf(host.device(102));
    host.readers.get(reader).response.destroy();
    await until(() => host.calls.get('1').legs[0].page > reader);
    await untilHeard(study, 440);
    await press(study, 'Hang up');
    await says(kitchen, 'Call ended');
    await closeAll(kitchen, study);
});

test('a call that ended while the stream was away is over here, too', async () => {
    const [kitchen, study] = await talking();
    host.calls.clear();
    await says(kitchen, 'Call ended');
    await closeAll(kitchen, study);
});

test('what rang while the stream broke and has ended since rings no more', async () => {
    const kitchen = await open('kitchen', 440);
    const call = await host.call('regular', host.device(101), [host.device(102)]);
    await says(kitchen, 'Decline');
    host.calls.delete(call.id);
    for (const { response } of host.readers.values()) response.destroy();
    await isAtHome(kitchen);
    await closeAll(kitchen);
});

test('what rings goes on ringing over a broken stream', async () => {
    const kitchen = await open('kitchen', 440);
    await host.call('regular', host.device(101), [host.device(102)]);
    await says(kitchen, 'Decline');
    for (const { response } of host.readers.values()) response.destroy();
    await until(() => host.sent('tabletHello').length === 2);
    await new Promise((done) => setTimeout(done, 2500));
    await press(kitchen, 'Answer');
    await untilHeard(kitchen, 1000);
    await closeAll(kitchen);
});

test('without a microphone one hears, and is told that nobody hears', async () => {
    const refuse = () => { navigator.mediaDevices.getUserMedia = async () => { throw new DOMException('no', 'NotAllowedError'); }; };
    const [kitchen, study] = await Promise.all([open('kitchen', 440), open('study', 0, { script: refuse })]);
    await touchTile(kitchen, 'Study', 'Call');
    await press(study, 'Answer');
    await says(study, 'Nobody hears you');
    await untilHeard(study, 440);
    await closeAll(kitchen, study);
});

test('keys of a call are sent as digits', async () => {
    const [kitchen, study] = await talking();
    await press(kitchen, 'Keypad');
    for (const key of ['4', '#']) await press(kitchen, key);
    await until(() => host.sent('tabletDigits').length === 2);
    assert.deepEqual(host.sent('tabletDigits').map(({ fields }) => fields.digits), ['4', '#']);
    await closeAll(kitchen, study);
});

test('a call goes on while call control is away, says so, and ends when the driver says so', async () => {
    const [kitchen, study] = await talking();
    host.setCallControl(false);
    await says(kitchen, 'The call goes on; it ends if that is not back');
    await untilHeard(kitchen, 880);
    host.setCallControl(true);
    await until(async () => (await kitchen.locator('.notice').count()) === 0);
    await untilHeard(kitchen, 880);
    host.setCallControl(false);
    host.end(host.calls.get('1'), 503, 'Call control is away', 'callcontrol');
    await says(kitchen, 'The call has ended because');
    await closeAll(kitchen, study);
});

test('who answers while call control is away has the call when it is back', async () => {
    const kitchen = await open('kitchen', 440);
    await host.call('regular', host.device(101), [host.device(102)], { called: 'doorbell' });
    await says(kitchen, 'Decline');
    host.setCallControl(false);
    await press(kitchen, 'Answer');
    await says(kitchen, 'The call goes on; it ends if that is not back');
    await until(() => host.sent('tabletAnswer').length > 1);
    assert.equal(host.calls.size, 1);
    host.setCallControl(true);
    await untilHeard(kitchen, 1000);
    await closeAll(kitchen);
});

test('a call that is declined while call control is away is declined when it is back', async () => {
    const kitchen = await open('kitchen', 440);
    await host.call('regular', host.device(101), [host.device(102)]);
    await says(kitchen, 'Decline');
    host.setCallControl(false);
    await press(kitchen, 'Decline');
    await isAtHome(kitchen);
    await until(() => host.sent('tabletDecline').length > 1);
    host.setCallControl(true);
    await until(() => host.calls.size === 0);
    await closeAll(kitchen);
});

test('a page that is frozen is gone for the others, and knows it when it is back', async () => {
    const [kitchen, study] = await talking();
    await until(() => host.calls.get('1').legs.every((leg) => leg.pinged));
    const session = await study.context().newCDPSession(study);
    // As a browser does that is out of memory, or put aside: none of the page's code runs.
    await session.send('Debugger.enable');
    await session.send('Debugger.pause');
    await until(() => host.dropSilent('1', host.device(103), 3500));
    await says(kitchen, 'Call ended');
    await session.send('Debugger.resume');
    await says(study, 'Call ended');
    await closeAll(kitchen, study);
});

test('a tablet that sends no own picture says so before the call and in it, with the way to switch it on', async () => {
    host.device(102).answerWithVideo = false;
    const [kitchen, study] = await both();
    await kitchen.getByRole('button', { name: /^Study/ }).click();
    await says(kitchen, 'Others do not see you: this tablet sends no own picture');
    await press(kitchen, 'Call with picture');
    await press(study, 'With picture');
    await says(kitchen, 'You are not seen');
    await untilTrue(kitchen, () => document.querySelector('.picture')?.videoWidth > 0);
    assert.ok((await kitchen.evaluate(() => window.captures)).every(({ video }) => !video), 'the camera stays off');
    await press(kitchen, 'Send it');
    await says(kitchen, 'You are seen from the next call on');
    await press(kitchen, 'Hang up');
    await kitchen.getByRole('button', { name: /^Study/ }).click();
    assert.equal(await kitchen.getByText('Others do not see you').count(), 0);
    await press(kitchen, 'Call with picture');
    await untilTrue(kitchen, () => window.captures.some(({ video }) => video));
    await closeAll(kitchen, study);
});

test('a tablet without a camera offers no call with picture, and says why', async () => {
    host.device(102).camera = false;
    const kitchen = await open('kitchen', 440);
    await kitchen.getByRole('button', { name: /^Study/ }).click();
    assert.ok(await kitchen.getByRole('button', { name: 'Call with picture' }).isDisabled());
    await says(kitchen, 'This tablet has no camera: others do not see you.');
    await closeAll(kitchen);
});

test('who may not be listened to says so, and is not offered again until the home may have changed', async () => {
    const kitchen = await open('kitchen', 440);
    await open('nursery', 880);
    await touchTile(kitchen, 'Nursery', 'Listen and look');
    await says(kitchen, 'Nursery may not be listened to');
    await press(kitchen, 'Back');
    await kitchen.getByRole('heading', { name: 'Nursery' }).waitFor();
    await says(kitchen, 'Nursery may not be listened to. Whoever sets the home up can allow it.');
    assert.equal(await kitchen.getByRole('button', { name: 'Listen and look' }).count(), 0);
    await press(kitchen, 'Back');
    await kitchen.getByRole('button', { name: /^Study/ }).click();
    await kitchen.getByRole('button', { name: 'Listen and look' }).waitFor();
    for (const { response } of host.readers.values()) response.destroy();
    await until(async () => (await kitchen.evaluate(() => window.tablet.private.size)) === 0);
    await closeAll(kitchen);
});

test('missing pictures are asked for again', async () => {
    const [kitchen, study] = await talking();
    await kitchen.evaluate(() => {
        const { quality } = window.tablet.calls.foremost;
        quality.look = async () => { quality.needsKeyFrame = true; };
    });
    await until(() => host.sent('tabletKeyframe').length > 0);
    host.toTablet(host.device(102), '<keyframe call="1"/>');
    await closeAll(kitchen, study);
});
