// A host for the pages' tests: files, streams and commands as the real one has them, with a home in memory. It speaks for
// agent, call control and the tablets' drivers. Sound and pictures pass through a page of its own, relay.html, which
// stands where the home's media server is: every page of a call is offered to, and answers.
import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import zlib from 'node:zlib';
import { escaped, parse, quoted } from '../../web/common/xml.js';

const WEB = fileURLToPath(new URL('../../web', import.meta.url));
const RELAY = fileURLToPath(new URL('relay.html', import.meta.url));
const TYPES = {
    '.html': 'text/html; charset=utf-8', '.js': 'text/javascript; charset=utf-8', '.css': 'text/css; charset=utf-8',
    '.svg': 'image/svg+xml', '.png': 'image/png', '.webmanifest': 'application/manifest+json',
};
const HEADERS = {
    'content-security-policy': "default-src 'self'; base-uri 'none'; object-src 'none'; form-action 'self'; frame-ancestors 'none'",
    'permissions-policy': 'camera=(self), microphone=(self), geolocation=(), display-capture=()',
    'x-content-type-options': 'nosniff', 'referrer-policy': 'same-origin', 'cache-control': 'no-cache',
};
const NEED_CALL_CONTROL = ['tabletRinging', 'tabletAnswer', 'tabletDecline', 'tabletHold', 'tabletResume', 'tabletDigits'];
const MEDIA = {
    regular: { caller: ['both', 'both'], callee: ['both', 'both'] },
    monitor: { caller: ['receive', 'receive'], callee: ['send', 'send'] },
    broadcast: { caller: ['send', 'none'], callee: ['receive', 'none'] },
};

/** As the agent chooses: who calls sends a picture when it has a camera and answers with video. */
function mediaOf(call, { device, role }) {
    const [audio, video] = MEDIA[call.kind][role];
    const isSeen = !device.isTablet || role === 'callee' || (device.camera && device.answerWithVideo);
    return [audio, video === 'both' && !isSeen ? 'receive' : video];
}

/** An element of attributes and, in it, XML that is already written. */
export const element = (name, attributes = {}, inner = '') =>
    `<${name}${Object.entries(attributes).map(([key, value]) => ` ${key}="${quoted(String(value))}"`).join('')}>${inner}</${name}>`;
const values = (fields) => Object.entries(fields).map(([key, value]) => `<${key}>${escaped(String(value))}</${key}>`).join('');

export class FakeHost {
    constructor() {
        this.home = 'Home';
        this.devices = [];
        this.groups = [];
        this.contacts = '';
        this.recents = [];
        this.external = false;
        this.buttons = new Map(); // by device id: names
        this.readers = new Map(); // by number: {tablet, response, greeted}
        this.calls = new Map();
        this.log = []; // every command: {driver, command, fields}
        this.failures = new Map(); // by command: [status, text]
        this.deaf = new Set(); // commands that are never answered
        this.lastReader = 0;
        this.lastCall = 0;
        this.callControl = true;
        this.tokens = null; // by token: {role, tablet}; null: everybody may everything
        this.sessions = new Map(); // by the cookie's value: {role, tablets}
        this.attempts = []; // tokens that were tried
        this.relay = async () => 'v=0\r\n'; // set by who has a browser
    }

    /** @returns {Promise<void>} */
    start(port = 0) {
        this.server = http.createServer((request, response) => this.serve(request, response));
        return new Promise((done) => this.server.listen(port, '127.0.0.1', () => done()));
    }

    get port() {
        return this.server.address().port;
    }

    get url() {
        return `http://127.0.0.1:${this.port}`;
    }

    stop() {
        for (const { response } of this.readers.values()) response.destroy();
        this.readers.clear();
        this.server.closeAllConnections();
        return new Promise((done) => this.server.close(done));
    }

    // ---- the home

    addDevice(fields) {
        const device = {
            id: 0, key: '', name: '', version: 2, state: 0, dnd: false, autoAnswer: false, monitorMode: false, answerWithVideo: false,
            speakerVolume: 0, excludeFromNav: false, ringDoorbell: false, doorStation: false, thirdParty: false, camera: false,
            display: false, mayBeMonitored: false, isTablet: false, ...fields,
        };
        this.devices.push(device);
        return device;
    }

    device(id) {
        return this.devices.find((device) => String(device.id) === String(id));
    }

    change(id, fields, event) {
        Object.assign(this.device(id), fields);
        this.notify(`<${event}><device>${values({ id, ...fields })}</device></${event}>`);
        const device = this.device(id);
        if (device.isTablet) this.toTablet(device, this.settingsOf(device));
    }

    // ---- streams

    notify(xml) {
        for (const { response } of this.readers.values()) response.write(`data: ${xml}\n\n`);
    }

    toReader(number, xml) {
        this.readers.get(number)?.response.write(`event: tablet\ndata: ${xml}\n\n`);
    }

    pagesOf(device) {
        return [...this.readers].filter(([, reader]) => reader.tablet === device && reader.greeted).map(([number]) => number);
    }

    toTablet(device, xml) {
        for (const number of this.pagesOf(device)) this.toReader(number, xml);
    }

    /** A device tells what came of one of its buttons. */
    pressed(id, button, success) {
        this.notify(`<DeviceButtonPressed>${values({ id, button, name: this.buttons.get(String(id))[button - 1], success })}</DeviceButtonPressed>`);
    }

    setCallControl(isUp) {
        this.callControl = isUp;
        for (const number of this.readers.keys()) this.toReader(number, element('callControl', isUp ? { up: true } : { up: false, reason: 'it has ended' }));
    }

    /** As a host that is killed: every stream breaks, and no port is left to connect to. */
    async crash() {
        const { port } = this;
        await this.stop();
        return () => this.start(port);
    }

    // ---- HTTP

    async serve(request, response) {
        const [, first, second, third, fourth] = decodeURI(request.url.split('?')[0]).split('/');
        if (first === 'session') return this.serveSession(request, response);
        if (first === 'tablets' || first === 'drivers') {
            const refusal = this.refusalOf(request, decodeURIComponent(second));
            if (refusal) return this.answer(response, ...refusal);
        }
        if (first === 'tablets' && third === 'events') return this.openStream(decodeURIComponent(second), response, this.sessionOf(request));
        if (first === 'drivers' && third === 'commands') return this.takeCommand(request, response, decodeURIComponent(second), fourth);
        if (first === 'relay.html') return response.writeHead(200, { 'content-type': TYPES['.html'] }).end(fs.readFileSync(RELAY));
        return this.serveFile(request, response, [first, second, third, fourth].filter(Boolean).join('/'));
    }

    serveFile(request, response, name) {
        const isPage = /^tablet\/[^./]+$/.test(name) && !fs.existsSync(path.join(WEB, name));
        const file = path.join(WEB, isPage ? 'tablet/index.html' : path.normalize(`/${name}`));
        if (!fs.existsSync(file) || !fs.statSync(file).isFile()) return this.answer(response, 404, '<error>no such file</error>');
        const body = zlib.gzipSync(fs.readFileSync(file), { level: 9 });
        const type = TYPES[path.extname(file)] ?? 'application/octet-stream';
        return response.writeHead(200, { ...HEADERS, 'content-type': type, 'content-encoding': 'gzip', 'content-length': body.length }).end(body);
    }

    answer(response, status, xml) {
        if (xml === undefined) response.writeHead(204).end();
        else response.writeHead(status, { 'content-type': 'application/xml' }).end(xml);
    }

    // ---- sessions

    sessionOf(request) {
        return this.sessions.get(/(?:^|; )intercom=([^;]*)/.exec(request.headers.cookie ?? '')?.[1]);
    }

    /** Why it may not be done: nobody is signed in, a page of elsewhere asks, or it is another tablet's. */
    refusalOf(request, driver) {
        if (!this.tokens) return null;
        const session = this.sessionOf(request);
        if (!session) return [401, '<error>sign in first</error>'];
        if (request.method !== 'GET' && request.headers.origin !== this.url) return [403, '<error>foreign origin</error>'];
        if (session.role !== 'tablet' || driver === 'agent' || session.tablets.includes(driver)) return null;
        return [403, '<error>only admin and this tablet may do that</error>'];
    }

    async serveSession(request, response) {
        const session = this.sessionOf(request);
        if (request.method === 'GET') {
            if (!this.tokens) return this.answer(response, 200, '<session role="admin" open="true"/>');
            return session ? this.answer(response, 200, sessionElement(session)) : this.answer(response, 401, '<error>sign in first</error>');
        }
        if (request.headers.origin !== this.url) return this.answer(response, 403, '<error>foreign origin</error>');
        return request.method === 'DELETE' ? this.endSession(session, response) : this.startSession(request, response, session);
    }

    async startSession(request, response, before) {
        let body = '';
        for await (const part of request) body += part;
        const token = new URLSearchParams(body).get('token');
        this.attempts.push(token);
        if (this.attempts.length > 10) return response.writeHead(429, { 'retry-after': '42' }).end('<error>too many attempts</error>');
        const may = this.tokens?.get(token);
        if (!may) return this.answer(response, 401, '<error>unknown token</error>');
        const session = before ?? { role: may.role, tablets: [] };
        if (may.tablet) session.tablets.push(may.tablet);
        for (const [id, other] of this.sessions) if (other === session) this.sessions.delete(id);
        const id = `id-${this.attempts.length}`;
        this.sessions.set(id, session);
        response.setHeader('set-cookie', `intercom=${id}; HttpOnly; SameSite=Strict; Path=/; Max-Age=34560000`);
        this.answer(response, 200, sessionElement(session));
    }

    endSession(session, response) {
        for (const [id, other] of this.sessions) if (other === session) this.sessions.delete(id);
        for (const reader of this.readers.values()) if (reader.session === session) reader.response.destroy();
        response.setHeader('set-cookie', 'intercom=; HttpOnly; SameSite=Strict; Path=/; Max-Age=0');
        this.answer(response, 204);
    }

    openStream(name, response, session) {
        const tablet = this.devices.find((device) => device.isTablet && device.key === name);
        if (!tablet) return this.answer(response, 404, `<error>there is no driver '${escaped(name)}'</error>`);
        const number = ++this.lastReader;
        response.writeHead(200, { 'content-type': 'text/event-stream', 'cache-control': 'no-store' });
        this.readers.set(number, { tablet, response, session, greeted: false });
        response.on('close', () => this.readers.delete(number));
        this.toReader(number, element('opened', { reader: number }));
    }

    async takeCommand(request, response, driver, command) {
        let body = '';
        for await (const part of request) body += part;
        const fields = Object.fromEntries(new URLSearchParams(body));
        this.log.push({ driver, command, fields });
        if (this.deaf.has(command)) return;
        const failure = this.failures.get(command);
        if (failure) return this.answer(response, ...failure);
        const tablet = this.devices.find((device) => device.isTablet && device.key === driver);
        if (tablet && !this.callControl && NEED_CALL_CONTROL.includes(command)) return this.answer(response, 200, '<error>call control is away; it is tried again</error>');
        const table = driver === 'agent' ? this.agentCommands : tablet && this.tabletCommands;
        if (!table?.[command]) return this.answer(response, 404, `<error>driver ${escaped(driver)} has no command '${escaped(command)}'</error>`);
        try {
            this.answer(response, 200, await table[command](fields, tablet));
        } catch (error) {
            if (!error.isRefusal) console.error(error);
            this.answer(response, 200, `<error>${escaped(error.message)}</error>`);
        }
    }

    sent(command) {
        return this.log.filter((entry) => entry.command === command);
    }

    // ---- the agent

    agentCommands = {
        getDeviceList: () => `<devices>${this.devices.map((device) => `<device>${values(withoutOurs(device))}</device>`).join('')}</devices>`,
        getGroupList: () => `<groups>${[{ id: 0, name: 'All', members: this.devices.filter((device) => !device.doorStation).map((device) => device.id) }, ...this.groups]
            .map((group) => `<group>${values({ groupId: group.id, name: group.name })}<devices>${group.members.map((id) => `<device>${id}</device>`).join('')}</devices></group>`)
            .join('')}</groups>`,
        getContactList: () => `<contacts>${this.contacts}</contacts>`,
        getRecentContactList: () => `<recentContacts>${this.recents.map((recent) => `<recentContact>${values(recent)}</recentContact>`).join('')}</recentContacts>`,
        getIsExternal: () => `<external>${this.external}</external>`,
        getCustomButtons: ({ idDevice }) => {
            const names = this.buttons.get(idDevice);
            return names && `<buttons>${names.map((name, at) => `<button>${values({ id: at + 1, name })}</button>`).join('')}</buttons>`;
        },
        CUSTOM_BUTTON: () => undefined,
        setDeviceState: ({ idDevice, ...fields }) => {
            const events = { dnd: 'DeviceDnDChanged', autoAnswer: 'DeviceAutoAnswerChanged', ringDoorbell: 'DeviceRingToneChanged' };
            for (const [name, value] of Object.entries(fields)) this.change(idDevice, { [name]: value === 'true' || (value !== 'false' && value) }, events[name] ?? 'DeviceUpdated');
            return '<success/>';
        },
        deleteRecentContact: ({ id }) => {
            this.recents = this.recents.filter((recent) => String(recent.id) !== id);
            this.notify(`<RecentContactDeleted><id>${id}</id></RecentContactDeleted>`);
            return '<success/>';
        },
        clearRecentContactList: () => {
            this.recents = [];
            this.notify('<RecentContactsCleared/>');
            return '<success/>';
        },
        SIP_REGULAR_CALL: ({ source, destination }) => void this.call('regular', this.device(source), [this.device(destination)]),
        SIP_MONITOR_CALL: ({ source, destination }) => void this.call('monitor', this.device(source), [this.device(destination)]),
        SIP_BROADCAST_CALL: ({ source, destinations }) =>
            void this.call('broadcast', this.device(source), parse(destinations).elements().map((id) => this.device(id.text))),
        SIP_EXTERNAL_CALL: () => undefined,
    };

    settingsOf(device) {
        const { dnd, autoAnswer, monitorMode, answerWithVideo, excludeFromNav, ringDoorbell, speakerVolume } = device;
        return element('settings', { dnd, autoAnswer, monitorMode, answerWithVideo, excludeFromNav, ringDoorbell, speakerVolume });
    }

    // ---- a tablet's driver

    tabletCommands = {
        tabletHello: ({ reader, version }, tablet) => {
            const page = this.readers.get(Number(reader));
            if (!page) throw refusal('no stream of this tablet has that reader');
            if (version !== '1') throw refusal('load the page anew');
            page.greeted = true;
            const { id, key, name, camera, display, mayBeMonitored } = tablet;
            this.toReader(Number(reader), element('welcome', { reader, device: id, key, name, camera, display, mayBeMonitored, home: this.home }, this.settingsOf(tablet)));
            if (!this.callControl) this.toReader(Number(reader), element('callControl', { up: false, reason: 'it is being started' }));
            for (const call of this.calls.values())
                for (const leg of call.legs) if (leg.device === tablet && leg.offer && !leg.page && !leg.isDown) this.toReader(Number(reader), this.inviteOf(call, leg));
            return '<success/>';
        },
        tabletRinging: ({ call }, tablet) => {
            const { found, leg } = this.leg(call, tablet);
            leg.rings = true;
            this.tellOthers(found, leg, element('ringing', { call, leg: tablet.key, name: tablet.name }));
            return '<success/>';
        },
        tabletAnswer: async ({ call, reader, sdp }, tablet) => {
            const { found, leg } = this.leg(call, tablet);
            if (leg.page && leg.page !== Number(reader)) throw refusal('it is at another page of this tablet');
            if (sdp.length > 7000) throw refusal('offer fewer codecs');
            if (!leg.page) {
                leg.page = Number(reader);
                for (const other of this.pagesOf(tablet)) if (other !== leg.page) this.toReader(other, element('elsewhere', { call, where: tablet.name }));
            }
            leg.answers.push(sdp);
            await this.relay('answer', call, tablet.key, sdp);
            if (!leg.isUp) await this.legUp(found, leg);
            return '<success/>';
        },
        tabletDecline: ({ call }, tablet) => {
            const { found, leg } = this.leg(call, tablet);
            this.legDown(found, leg, 603, 'Declined');
            return '<success/>';
        },
        tabletHangup: ({ call }, tablet) => {
            const { found, leg } = this.leg(call, tablet);
            this.legDown(found, leg, 200, 'Hung up');
            return '<success/>';
        },
        tabletHold: ({ call }, tablet) => this.setHeld(this.leg(call, tablet), true),
        tabletResume: ({ call }, tablet) => this.setHeld(this.leg(call, tablet), false),
        tabletKeyframe: () => '<success/>',
        tabletDigits: () => '<success/>',
        tabletPing: ({ call, reader }, tablet) => {
            const { leg } = this.leg(call, tablet);
            leg.pinged = Date.now();
            if (leg.page) leg.page = Number(reader); // only an answer takes a call that rings
            return '<success/>';
        },
        tabletBye: ({ reader }) => {
            this.lose(Number(reader));
            return '<success/>';
        },
    };

    /** A page is gone: its calls end. */
    lose(number) {
        const page = this.readers.get(number);
        if (page) page.greeted = false;
        for (const call of [...this.calls.values()])
            for (const leg of call.legs) if (leg.page === number && !leg.isDown) this.legDown(call, leg, 480, 'page gone');
    }

    /** Whether that tablet's page has said nothing for so long. Then it is gone, as for its driver. */
    dropSilent(id, device, milliseconds) {
        const leg = this.calls.get(id)?.legs.find((other) => other.device === device);
        if (!leg || Date.now() - leg.pinged < milliseconds) return false;
        this.lose(leg.page);
        return true;
    }

    // ---- calls

    leg(id, tablet) {
        const found = this.calls.get(id);
        const leg = found?.legs.find((other) => other.device === tablet && !other.isDown);
        if (!leg) throw refusal(`there is no call ${id}; it is over`);
        return { found, leg };
    }

    async call(kind, from, to, { answers = kind !== 'regular', called = '' } = {}) {
        const legOf = (device, role) => ({ device, role, page: 0, rings: false, isUp: false, isDown: false, offer: '', answers: [] });
        const call = { id: String(++this.lastCall), kind, answers, called, isEstablished: false, legs: [legOf(from, 'caller'), ...to.map((device) => legOf(device, 'callee'))] };
        const refuse = (code, reason) => this.toTablet(from, element('refused', { kind, name: kind === 'broadcast' ? '' : to[0].name, code, reason }));
        if (from.isTablet && kind === 'monitor' && !to[0].mayBeMonitored) return refuse(403, `"${to[0].key}" may not be monitored`);
        if (from.isTablet && to.every((device) => device.isTablet && !this.pagesOf(device).length)) return refuse(480, 'No page is open');
        this.calls.set(call.id, call);
        if (from.isTablet) await this.invite(call, call.legs[0]);
        else {
            await this.relay('station', call.id, from.key);
            call.legs[0].isUp = true;
            for (const leg of call.legs.slice(1)) await this.invite(call, leg);
        }
        return call;
    }

    async invite(call, leg) {
        const { device } = leg;
        if (!device.isTablet) return; // a phone: the test says what it does
        if (device.dnd && leg.role === 'callee') return this.legDown(call, leg, 486, 'Do not disturb');
        if (!this.pagesOf(device).length) return this.legDown(call, leg, 480, 'Nobody is there');
        const [audio, video] = mediaOf(call, leg);
        leg.offer = await this.relay('offer', call.id, device.key, audio, video);
        this.toTablet(device, this.inviteOf(call, leg));
    }

    inviteOf(call, leg) {
        const other = leg.role === 'caller' ? call.legs[1] : call.legs[0];
        const [audio, video] = mediaOf(call, leg);
        const answers = leg.role === 'caller' || call.answers;
        return element(
            'invite',
            { call: call.id, kind: call.kind, role: leg.role, from: other.device.key, name: other.device.name, called: call.called, audio, video, answers },
            `<sdp>${escaped(leg.offer)}</sdp>`,
        );
    }

    async legUp(call, leg) {
        leg.isUp = true;
        this.tellOthers(call, leg, element('legUp', { call: call.id, leg: leg.device.key, name: leg.device.name }));
        if (leg.role === 'caller') {
            for (const other of call.legs.slice(1)) await this.invite(call, other);
            return;
        }
        await this.relay('join', call.id, call.legs[0].device.key, leg.device.key);
        if (call.kind !== 'broadcast')
            for (const other of call.legs.slice(1)) if (other !== leg && !other.isDown) this.elsewhere(call, other, leg.device.name);
        if (call.isEstablished) return this.tell(call, leg, element('established', { call: call.id }));
        call.isEstablished = true;
        for (const other of call.legs) if (other.isUp) this.tell(call, other, element('established', { call: call.id }));
    }

    /** A phone of the test answers. */
    phoneAnswers(call, key) {
        return this.legUp(call, call.legs.find((leg) => leg.device.key === key));
    }

    elsewhere(call, leg, where) {
        leg.isDown = true;
        this.toTablet(leg.device, element('elsewhere', { call: call.id, where }));
    }

    legDown(call, leg, code, reason) {
        leg.isDown = true;
        this.tellOthers(call, leg, element('legDown', { call: call.id, leg: leg.device.key, name: leg.device.name, code, reason }));
        const callees = call.legs.slice(1);
        if (leg.role === 'caller' || callees.every((other) => other.isDown)) return this.end(call, code, reason, leg.device.key);
        this.tell(call, leg, element('ended', { call: call.id, code, reason, by: leg.device.key, seconds: 0 }));
    }

    end(call, code, reason, by) {
        if (!this.calls.delete(call.id)) return;
        for (const leg of call.legs) this.tell(call, leg, element('ended', { call: call.id, code, reason, by, seconds: 1 }));
        this.relay('close', call.id);
    }

    async setHeld({ found, leg }, isHeld) {
        for (const other of found.legs) {
            if (!other.isUp || other.isDown || !other.device.isTablet) continue;
            this.tell(found, other, element('modified', { call: found.id, state: isHeld ? 'held' : 'active', by: leg.device.key }));
            const sdp = await this.relay('hold', found.id, other.device.key, isHeld);
            this.tell(found, other, element('offer', { call: found.id }, `<sdp>${escaped(sdp)}</sdp>`));
        }
        return '<success/>';
    }

    tell(call, leg, xml) {
        if (!leg.device.isTablet) return;
        if (leg.page) this.toReader(leg.page, xml);
        else this.toTablet(leg.device, xml);
    }

    tellOthers(call, leg, xml) {
        const isCallerOnly = leg.role === 'callee';
        for (const other of call.legs) if (other !== leg && !other.isDown && (!isCallerOnly || other.role === 'caller' || call.called)) this.tell(call, other, xml);
    }
}

const sessionElement = ({ role, tablets }) => element('session', { role }, tablets.map((name) => element('tablet', { name })).join(''));
const refusal = (text) => Object.assign(new Error(text), { isRefusal: true });

function withoutOurs({ isTablet, mayBeMonitored, ...fields }) {
    return fields;
}
