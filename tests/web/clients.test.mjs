import assert from 'node:assert/strict';
import { afterEach, beforeEach, test } from 'node:test';
import { CommandClient } from '../../web/common/commands.js';
import { EventClient } from '../../web/common/events.js';
import { languageOf, translator } from '../../web/common/i18n.js';
import { Session, tokenIn } from '../../web/common/session.js';
import { Settings } from '../../web/tablet/settings.js';
import { de } from '../../web/tablet/texts-de.js';
import { en } from '../../web/tablet/texts.js';
import { FakeHost } from './fake-host.mjs';

let host;
beforeEach(async () => {
    host = new FakeHost();
    host.addDevice({ id: 5, key: 'kitchen', name: 'Kitchen', isTablet: true });
    await host.start();
});
afterEach(() => host.stop());

const client = (options) => new CommandClient({ base: host.url, ...options });
const trouble = async (promise) => promise.then(() => assert.fail('nothing was thrown'), (error) => [error.trouble, error.message]);

// ---- commands

test('parameters go as a form, whatever they contain', async () => {
    await client().send('agent', 'CUSTOM_BUTTON', { idDevice: 5, button: 'a&b=c +ä<\n' });
    assert.deepEqual(host.log[0], { driver: 'agent', command: 'CUSTOM_BUTTON', fields: { idDevice: '5', button: 'a&b=c +ä<\n' } });
});

test('names of drivers and commands are encoded', async () => {
    await client().send('Front door/1', 'a b').catch(() => {});
    assert.equal(host.log[0].driver, 'Front door/1');
});

test('the answer is an element, or null where there is none', async () => {
    assert.equal((await client().send('agent', 'getDeviceList')).value('absent'), '');
    assert.equal(await client().send('agent', 'CUSTOM_BUTTON'), null);
});

for (const name of ['fail', 'failed', 'error'])
    test(`<${name}> is an error with the driver's words`, async () => {
        host.failures.set('addGroup', [200, `<${name}>The name &lt;All&gt; is taken</${name}>`]);
        assert.deepEqual(await trouble(client().send('agent', 'addGroup')), ['failed', 'The name <All> is taken']);
    });

for (const [status, expected] of [[401, 'unauthorized'], [403, 'forbidden'], [404, 'unknown'], [429, 'tooMany'], [413, 'rejected'], [503, 'rejected']])
    test(`status ${status} is ${expected}, with the host's words`, async () => {
        host.failures.set('getDeviceList', [status, '<error>what to do</error>']);
        assert.deepEqual(await trouble(client().send('agent', 'getDeviceList')), [expected, 'what to do']);
    });

test('an answer that is no XML is an error', async () => {
    host.failures.set('getDeviceList', [200, '<html><p>login']);
    assert.deepEqual(await trouble(client().send('agent', 'getDeviceList')), ['rejected', `${host.url}/drivers/agent/commands/getDeviceList was answered by what is no XML`]);
});

test('a host that does not answer is unreachable, in the end', async () => {
    host.deaf.add('getDeviceList');
    assert.equal((await trouble(client({ answerTime: 50 }).send('agent', 'getDeviceList')))[0], 'unreachable');
    const { url } = host;
    await host.stop();
    assert.equal((await trouble(new CommandClient({ base: url }).send('agent', 'getDeviceList')))[0], 'unreachable');
    await host.start();
});

// ---- sessions

test('the time after which it may be tried again comes with the error', async () => {
    host.tokens = new Map();
    host.attempts = Array(10).fill('guess');
    const fetchAsPage = (address, options) => fetch(address, { ...options, headers: { origin: host.url } });
    const error = await client({ fetch: fetchAsPage }).signIn('x').catch((thrown) => thrown);
    assert.deepEqual([error.trouble, error.wait], ['tooMany', 42]);
});

test('what a session allows is read, and where everybody may everything it is said', async () => {
    const session = new Session(client(), () => {});
    await session.read();
    assert.deepEqual([session.role, session.isOpen, session.tablets], ['admin', true, []]);
});

test('an answer tells whether somebody must sign in, and a host that is away tells nothing', async () => {
    host.tokens = new Map();
    const session = new Session(client(), () => {});
    session.learn(await client().send('agent', 'getDeviceList').catch((error) => error));
    assert.equal(session.lack, 'unauthorized');
    session.learn(await client({ base: 'http://127.0.0.1:1' }).send('agent', 'getDeviceList').catch((error) => error));
    assert.equal(session.lack, 'unauthorized');
    session.learn(null);
    assert.equal(session.lack, null);
});

test('a token is found in an address, in its fragment, and as it is', () => {
    assert.equal(tokenIn('https://home.test:8443/tablet/Kitchen%201#token=a%2Fb%3D&x=1'), 'a/b=');
    assert.equal(tokenIn('#x=1&token=abc'), 'abc');
    assert.equal(tokenIn('  abc=\n'), 'abc=');
    assert.equal(tokenIn('#token=%'), '%');
});

// ---- events

/** What an EventClient needs of a browser's EventSource. */
class FakeSource {
    static all = [];
    constructor(address) {
        this.address = address;
        this.named = {};
        FakeSource.all.push(this);
    }
    addEventListener(name, listener) {
        this.named[name] = listener;
    }
    close() {
        this.isClosed = true;
    }
}

function follow(times = {}) {
    FakeSource.all = [];
    const seen = [];
    const note = (what) => (value) => seen.push(value?.name ? [what, value.name] : [what]);
    const listener = Object.fromEntries(['opened', 'closed', 'notified', 'addressed', 'reset', 'garbled'].map((name) => [name, note(name)]));
    const events = new EventClient('/tablets/x/events', listener, { open: (at) => new FakeSource(at), ...times });
    events.start();
    return { events, seen, source: () => FakeSource.all.at(-1) };
}

test('notifications and what the driver sends are told apart', () => {
    const { events, seen, source } = follow();
    source().onopen();
    source().onmessage({ data: '<DeviceAdded><id>1</id></DeviceAdded>' });
    source().named.tablet({ data: '<welcome/>' });
    source().named.reset({ data: '<reset/>' });
    source().onmessage({ data: '<broken' });
    assert.deepEqual(seen, [['opened'], ['notified', 'DeviceAdded'], ['addressed', 'welcome'], ['reset'], ['garbled']]);
    events.stop();
});

test('what a listener throws is told, and the next event comes all the same', () => {
    const garbled = [];
    const events = new EventClient('/x', { notified: () => { throw new Error('mine'); }, garbled: (data) => garbled.push(data) }, { open: (at) => new FakeSource(at) });
    events.start();
    FakeSource.all.at(-1).onmessage({ data: '<a/>' });
    FakeSource.all.at(-1).onmessage({ data: '<b/>' });
    assert.deepEqual(garbled, ['<a/>', '<b/>']);
    events.stop();
});

test('a lost stream is opened again, after longer and longer times', async () => {
    const { events, seen, source } = follow({ firstRetry: 1, longestRetry: 4 });
    for (let round = 1; round < 6; ++round) {
        const lost = source();
        lost.onerror();
        assert.ok(lost.isClosed);
        while (FakeSource.all.length <= round) await new Promise((done) => setTimeout(done, 1));
    }
    assert.equal(seen.filter(([what]) => what === 'closed').length, 5);
    assert.equal(events.retry, 4);
    source().onopen();
    assert.equal(events.retry, 1);
    events.stop();
});

test('a stopped client does not come back', async () => {
    const { events, source } = follow({ firstRetry: 1 });
    source().onerror();
    events.stop();
    await new Promise((done) => setTimeout(done, 20));
    assert.equal(FakeSource.all.length, 1);
});

// ---- texts and what a browser remembers

test('the first wish for which there are texts is the language', () => {
    assert.equal(languageOf(['fr-FR', 'de-CH', 'en']), 'de');
    assert.equal(languageOf(['fr']), 'en');
    assert.equal(languageOf([]), 'en');
});

test('values stand in texts as they are, numbers choose the form', () => {
    const t = translator({ of: '{a} of {b}', calls: { one: '{count} call', other: '{count} calls' } }, 'en');
    assert.equal(t('of', { a: '{b}', b: '$&' }), '{b} of $&');
    assert.equal(t('of', { a: 1 }), '1 of {b}');
    assert.deepEqual([t('calls', { count: 1 }), t('calls', { count: 2 })], ['1 call', '2 calls']);
});

test('every text is there in every language, with the same values', () => {
    const valuesOf = (text) => JSON.stringify([...JSON.stringify(text).matchAll(/\{(\w+)\}/g)].map(([, name]) => name).sort());
    assert.deepEqual(Object.keys(de).sort(), Object.keys(en).sort());
    for (const [key, text] of Object.entries(en)) assert.equal(valuesOf(de[key]), valuesOf(text), key);
});

const storage = (content) => ({ getItem: () => content, setItem: (_key, value) => (content = value) });

test('settings are kept, and spoilt ones begin anew', () => {
    const memory = storage(null);
    new Settings(memory).volume = 30;
    assert.equal(new Settings(memory).volume, 30);
    assert.equal(new Settings(storage('{broken')).volume, 80);
    assert.equal(new Settings(storage('null')).volume, 80);
});

test('missed calls are new until they were looked at', () => {
    const settings = new Settings(storage(null));
    const call = (time, accepted = false) => ({ time, received: true, accepted });
    const recents = [call('2026-11-22T10:00:00Z'), call('2026-11-21T10:00:00Z'), call('2026-11-20T10:00:00Z', true)];
    assert.equal(settings.unseen(recents).length, 2);
    settings.seeRecents(recents);
    assert.equal(settings.unseen(recents).length, 0);
    assert.equal(settings.unseen([call('2026-11-22T11:00:00Z'), ...recents]).length, 1);
});
