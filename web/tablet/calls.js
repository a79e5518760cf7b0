// The calls of this page: what the driver tells of them, and what the user does.
import { isYes } from '../common/xml.js';
import { Leg, sends } from './media.js';
import { Quality } from './quality.js';

/** An order that has not become a call in this time was not carried out. */
const ORDER_TIME_MS = 8_000;
/** How long an ended call's sentence stays. */
const FAREWELL_MS = 4_000;
/** Another page of this tablet has ordered the call that comes, and answers it first. */
const OTHER_PAGE_MS = 700;
/** For the driver's invitations after its welcome. */
const CONFIRMED_MS = 2_000;
/** The driver takes a page for gone after as many missed pings as refused ones end the call here. */
const REFUSED_PINGS = 3;
/** The driver waits 10 seconds for call control to come back; this page a little longer. */
const CONTROL_BACK_MS = 12_000;
const CONTROL_RETRY_MS = 500;

/** @typedef {import('../common/xml.js').XmlElement} XmlElement */
/** @typedef {import('../common/commands.js').CommandError} CommandError */
/** @typedef {import('./media.js').Direction} Direction */
/** @typedef {'regular' | 'monitor' | 'broadcast'} CallKind */
/** How a call ended: the code is SIP's, and the reason what the other end said of it.
 * @typedef {{ code: number, reason: string, by: string, where?: string }} End */
/** @typedef {{ user: string, name: string, state: 'called' | 'ringing' | 'up' | 'down', code: number }} Party */
/**
 * - ordered: the home was asked to make it
 * - ringing: here, until somebody answers
 * - connecting: answered or calling, without the other end yet
 * - up, held: goes on; ended: its sentence is still shown
 * @typedef {'ordered' | 'ringing' | 'connecting' | 'up' | 'held' | 'ended'} CallState
 */

export class Call {
    /** @param {CallKind} kind @param {'caller' | 'callee'} role @param {string} name */
    constructor(kind, role, name) {
        this.id = '';
        this.kind = kind;
        this.role = role;
        this.name = name;
        this.from = '';
        /** The group that was called, or "doorbell". */
        this.called = '';
        /** The device that was called from here, by its id. */
        this.destination = '';
        /** @type {Direction} */
        this.audio = 'both';
        /** @type {Direction} */
        this.video = 'none';
        this.answers = false;
        this.offer = '';
        /** @type {CallState} */
        this.state = 'ordered';
        this.camera = false;
        /** The one who holds it; empty while it is active. */
        this.heldBy = '';
        this.began = Date.now();
        this.establishedAt = 0;
        this.endedAt = 0;
        /** @type {Map<string, Party>} */
        this.parties = new Map();
        /** @type {Leg | null} */
        this.leg = null;
        this.quality = new Quality();
        /** @type {End | null} */
        this.end = null;
        this.isCancelled = false;
        this.isConfirmed = true;
        /** Another page of this tablet is let answer first. */
        this.isWaiting = false;
        this.isPinging = false;
        this.isSilenced = false;
        this.hasKeypad = false;
        /** What was typed into it. */
        this.digits = '';
        this.refusedPings = 0;
        /** Descriptions are dealt with one after the other. @type {Promise<void>} */
        this.work = Promise.resolve();
    }

    get isOver() {
        return this.state === 'ended';
    }

    /** Somebody hears or sees this room, and nobody here has agreed to it. */
    get isMonitored() {
        return this.kind === 'monitor' && this.role === 'callee' && !this.isOver;
    }

    /** The user wants to be seen, and the home has left the own picture out. */
    get isUnseen() {
        return this.kind === 'regular' && this.role === 'caller' && this.camera && this.leg !== null && !sends(this.video);
    }

    get isSpeaking() {
        return this.kind === 'broadcast' && this.role === 'caller';
    }
}

/**
 * @typedef {object} Surroundings
 * @property {(command: string, parameters: Record<string, string>) => Promise<unknown>} send to this tablet's driver
 * @property {import('./media.js').Media} media
 * @property {() => void} changed
 * @property {(error: unknown) => void} report what went wrong and ends no call
 * @property {(call: Call) => boolean} answersWithPicture
 * @property {() => boolean} hasCallControl
 */

export class Calls {
    /** @param {Surroundings} surroundings */
    constructor(surroundings) {
        this.surroundings = surroundings;
        this.farewellTime = FAREWELL_MS;
        /** The newest last. @type {Call[]} */
        this.list = [];
        /** @type {Record<string, (call: Call, element: XmlElement) => void>} */
        this.deeds = {
            offer: (call, element) => this.takeOffer(call, element.value('sdp')),
            ringing: (call, element) => this.takeParty(call, element, 'ringing'),
            legUp: (call, element) => this.takeParty(call, element, 'up'),
            legDown: (call, element) => this.takeParty(call, element, 'down'),
            established: (call) => this.establish(call),
            modified: (call, element) => this.modify(call, element),
            keyframe: (call) => this.guard(call.leg?.sendKeyFrame()),
            elsewhere: (call, element) => this.finish(call, { ...noEnd, where: element.attribute('where') }),
            ended: (call, element) => this.finish(call, endOf(element)),
        };
    }

    get ringing() {
        return this.list.find((call) => call.state === 'ringing');
    }

    /** The call that fills the screen. */
    get foremost() {
        const isShown = (/** @type {Call} */ call) => call.state !== 'ringing' && !call.isMonitored && !call.isCancelled && !call.isWaiting;
        const shown = this.list.filter(isShown);
        const isActive = (/** @type {Call} */ call) => !call.isOver && call.state !== 'held';
        return shown.findLast(isActive) ?? shown.findLast((call) => !call.isOver) ?? shown.at(-1);
    }

    get running() {
        return this.list.filter((call) => call.id && !call.isOver);
    }

    /** @param {string} id */
    find(id) {
        return this.list.find((call) => call.id === id && id !== '' && !call.isOver);
    }

    /** What the driver sends of calls. False for anything else. @param {XmlElement} element */
    take(element) {
        if (element.name === 'invite' || element.name === 'refused') {
            this[element.name](element);
            return true;
        }
        const deed = Object.hasOwn(this.deeds, element.name) ? this.deeds[element.name] : undefined;
        if (!deed) return false;
        const call = this.find(element.attribute('call'));
        if (call) deed(call, element);
        this.surroundings.changed();
        return true;
    }

    // ---- calls begin

    /**
     * A call that the user has asked for: shown at once, carried out by the home.
     * @param {Call} call @param {() => Promise<unknown>} order
     */
    async order(call, order) {
        this.list.push(call);
        const timer = setTimeout(() => {
            if (!call.id) this.finish(call, { ...noEnd, code: 500 });
        }, ORDER_TIME_MS);
        this.surroundings.changed();
        try {
            await order();
        } catch (error) {
            clearTimeout(timer);
            this.surroundings.report(error);
            this.finish(call, { ...noEnd, code: 500 });
        }
    }

    /** An order that the home does not carry out. @param {XmlElement} element */
    refused(element) {
        const call = this.findOrder(kindOf(element.attribute('kind')), element.attribute('name'));
        if (call) this.finish(call, endOf(element));
    }

    /** @param {XmlElement} element */
    invite(element) {
        const known = this.find(element.attribute('call'));
        if (known) return this.inviteAgain(known, element.value('sdp'));
        const role = element.attribute('role') === 'caller' ? 'caller' : 'callee';
        const kind = kindOf(element.attribute('kind'));
        const name = element.attribute('name');
        const ordered = role === 'caller' ? this.findOrder(kind, name) : undefined;
        const call = ordered ?? new Call(kind, role, name);
        call.id = element.attribute('call');
        call.from = element.attribute('from');
        call.called = element.attribute('called');
        call.audio = directionOf(element.attribute('audio'), 'both');
        call.video = directionOf(element.attribute('video'), 'none');
        call.answers = isYes(element.attribute('answers'));
        call.offer = element.value('sdp');
        if (!ordered) this.list.push(call);
        if (call.isCancelled) this.hangUp(call);
        else if (role === 'caller') this.pickUp(call, ordered ? 0 : OTHER_PAGE_MS);
        else if (call.answers && !this.isDisturbedBy(call)) this.answer(call, this.surroundings.answersWithPicture(call));
        else this.letRing(call);
        this.surroundings.changed();
    }

    /**
     * What the user ordered, also when it was given up since: then its call is ended. An order that the home dropped is
     * never mistaken for a later one.
     * @param {CallKind} kind @param {string} name
     */
    findOrder(kind, name) {
        const orders = this.list.filter((call) => !call.id && call.kind === kind && !call.end);
        const wanted = orders.filter((call) => !call.isCancelled);
        return wanted.find((call) => call.name === name) ?? orders.find((call) => call.name === name) ?? wanted[0] ?? orders[0];
    }

    /** Nobody takes a conversation away from the user: one more rings, even if it would be answered by itself. @param {Call} call */
    isDisturbedBy(call) {
        return call.kind === 'regular' && this.list.some((other) => other !== call && other.kind === 'regular' && !other.isOver);
    }

    /** The driver was started anew, or the stream; an answer that was on its way is lost. @param {Call} call @param {string} offer */
    inviteAgain(call, offer) {
        call.isConfirmed = true;
        if (call.leg || call.state === 'ringing') this.takeOffer(call, offer);
    }

    /** @param {Call} call */
    letRing(call) {
        call.state = 'ringing';
        this.guard(this.tell(call, 'tabletRinging'));
    }

    /** Our end of a call that this tablet makes. @param {Call} call @param {number} delay */
    pickUp(call, delay) {
        call.state = 'connecting';
        call.isWaiting = delay > 0;
        if (delay) setTimeout(() => !call.isOver && this.answer(call, call.camera), delay);
        else this.answer(call, call.camera);
    }

    /**
     * Answers with sound, and with the camera's picture if wanted. Another conversation is held.
     * @param {Call} call @param {boolean} camera
     */
    answer(call, camera) {
        const talks = this.list.filter((other) => other !== call && other.kind === 'regular' && other.state === 'up');
        if (call.kind === 'regular') for (const other of talks) this.setHeld(other, true);
        call.isWaiting = false;
        call.state = 'connecting';
        call.camera = camera;
        const leg = new Leg(this.surroundings.media, { audio: call.audio, video: call.video, camera }, this.surroundings.changed);
        call.leg = leg;
        // At the same time, and nothing waits for it: the browser may ask the user first.
        this.guard(leg.capture());
        this.inTurn(call, async () => {
            const sdp = await leg.answer(call.offer);
            await leg.apply();
            await this.insist(call, 'tabletAnswer', { sdp });
            leg.connection.addEventListener('connectionstatechange', () => this.watchConnection(call));
        });
        this.surroundings.changed();
    }

    // ---- calls go on

    /** @param {Call} call @param {string} offer */
    takeOffer(call, offer) {
        const { leg } = call;
        if (!leg) {
            call.offer = offer;
            return;
        }
        this.inTurn(call, async () => {
            const sdp = await leg.answer(offer);
            await leg.apply();
            await this.insist(call, 'tabletAnswer', { sdp });
        });
    }

    /** @param {Call} call @param {XmlElement} element @param {'ringing' | 'up' | 'down'} state */
    takeParty(call, element, state) {
        const user = element.attribute('leg');
        const name = element.attribute('name') || user;
        call.parties.set(user, { user, name, state, code: Number(element.attribute('code')) || 0 });
    }

    /** @param {Call} call */
    establish(call) {
        call.state = call.heldBy ? 'held' : 'up';
        call.establishedAt ||= Date.now();
    }

    /** @param {Call} call @param {XmlElement} element */
    modify(call, element) {
        const isHeld = element.attribute('state') === 'held';
        call.heldBy = isHeld ? element.attribute('by') || 'command' : '';
        if (call.state === 'up' || call.state === 'held') call.state = isHeld ? 'held' : 'up';
        this.guard(call.leg?.hold(isHeld));
    }

    /** Asks for it; the call is held when the driver says so. @param {Call} call @param {boolean} isHeld */
    setHeld(call, isHeld) {
        this.guard(this.tell(call, isHeld ? 'tabletHold' : 'tabletResume'));
    }

    /** @param {Call} call @param {string} digits */
    sendDigits(call, digits) {
        this.guard(this.tell(call, 'tabletDigits', { digits }));
    }

    /** Each second: signs of life, and a look at what arrives. */
    async tick() {
        for (const call of this.running) if (call.leg && !call.isPinging) this.ping(call);
        for (const call of this.running) if (call.leg) await this.look(call, call.leg);
        if (this.list.length) this.surroundings.changed();
    }

    /** @param {Call} call */
    async ping(call) {
        // A browser has few connections: pings that hang must leave some for what the user does.
        call.isPinging = true;
        try {
            await this.tell(call, 'tabletPing');
            call.refusedPings = 0;
        } catch (error) {
            const { trouble, status } = /** @type {CommandError} */ (error);
            const isRefused = trouble !== 'unreachable' && status < 500;
            call.refusedPings = isRefused ? call.refusedPings + 1 : 0;
            if (call.refusedPings >= REFUSED_PINGS) this.finish(call, { ...noEnd, code: 480, by: 'page' });
        }
        call.isPinging = false;
    }

    /** @param {Call} call @param {Leg} leg */
    async look(call, leg) {
        if (leg.isClosed || call.state === 'held') return;
        await call.quality.look(leg.connection);
        if (call.quality.needsKeyFrame) this.guard(this.tell(call, 'tabletKeyframe'));
    }

    /** @param {Call} call */
    watchConnection(call) {
        if (call.leg?.connection.connectionState === 'failed' && !call.isOver) this.leave(call, { ...noEnd, code: 480, by: 'page' });
        this.surroundings.changed();
    }

    // ---- calls end

    /** Ends the call here at once, whatever becomes of the message. @param {Call} call */
    hangUp(call) {
        call.isCancelled = true;
        this.leave(call, null);
    }

    /** Ends it and tells the home, with a sentence for the user or without. @param {Call} call @param {End | null} end */
    leave(call, end) {
        const command = call.state === 'ringing' ? 'tabletDecline' : 'tabletHangup';
        if (call.id) this.guard(command === 'tabletDecline' ? this.insist(call, command) : this.tell(call, command));
        if (end) this.finish(call, end);
        else this.forget(call, call.id === '');
    }

    /** The stream is new. The driver invites again to what still rings; the rest ended while the stream was away. */
    confirmRinging() {
        for (const call of this.list) {
            if (call.state !== 'ringing') continue;
            call.isConfirmed = false;
            setTimeout(() => call.state === 'ringing' && !call.isConfirmed && this.forget(call), CONFIRMED_MS);
        }
    }

    /** @param {Call} call @param {End} end */
    finish(call, end) {
        if (call.isOver) return;
        const { kind, state, role } = call;
        call.state = 'ended';
        call.endedAt = Date.now();
        call.end = end;
        call.leg?.close();
        const isElsewhere = role === 'caller' && end.where !== undefined;
        const isGivenUp = end.code === 200 && (state === 'ordered' || state === 'connecting');
        const isSilent = isElsewhere || isGivenUp || call.isWaiting || (kind !== 'regular' && role === 'callee');
        if (isSilent) this.forget(call);
        else setTimeout(() => this.forget(call), this.farewellTime);
        this.surroundings.changed();
    }

    /** @param {Call} call @param {boolean} [isAwaited] its invitation may still come, and is refused then */
    forget(call, isAwaited = false) {
        call.state = 'ended';
        call.leg?.close();
        const drop = () => {
            this.list = this.list.filter((other) => other !== call);
        };
        if (isAwaited) setTimeout(drop, ORDER_TIME_MS);
        else drop();
        this.surroundings.changed();
    }

    // ---- helpers

    /** @param {Call} call @param {string} command @param {Record<string, string>} [parameters] */
    tell(call, command, parameters = {}) {
        return this.surroundings.send(command, { call: call.id, ...parameters });
    }

    /**
     * The driver refuses what it cannot pass on while call control is away. The call waits with it, and goes on when
     * call control is back. @param {Call} call @param {string} command @param {Record<string, string>} [parameters]
     */
    async insist(call, command, parameters) {
        let isLast = false;
        for (const end = Date.now() + CONTROL_BACK_MS; ; ) {
            try {
                return await this.tell(call, command, parameters);
            } catch (error) {
                if (isLast || /** @type {CommandError} */ (error).trouble !== 'failed') throw error;
                // What the driver says of call control may come a moment after its refusal.
                await new Promise((done) => setTimeout(done, CONTROL_RETRY_MS));
                isLast = this.surroundings.hasCallControl() || Date.now() > end;
            }
        }
    }

    /** One description after the other. One that cannot be dealt with ends the call. @param {Call} call @param {() => Promise<void>} deed */
    inTurn(call, deed) {
        call.work = call.work.then(async () => {
            if (call.isOver) return;
            try {
                await deed();
            } catch (error) {
                if (call.isOver) return;
                this.surroundings.report(error);
                this.leave(call, { ...noEnd, code: 500 });
            }
        });
    }

    /** What fails here ends no call. @param {Promise<unknown> | undefined} work */
    guard(work) {
        work?.catch((error) => this.surroundings.report(error));
    }
}

/** @type {End} */
const noEnd = { code: 0, reason: '', by: '' };

/** @param {XmlElement} element @returns {End} */
function endOf(element) {
    return { code: Number(element.attribute('code')) || 0, reason: element.attribute('reason'), by: element.attribute('by') };
}

/** @param {string} text @returns {CallKind} */
const kindOf = (text) => (text === 'monitor' || text === 'broadcast' ? text : 'regular');

/** @param {string} text @param {Direction} otherwise @returns {Direction} */
function directionOf(text, otherwise) {
    return text === 'none' || text === 'send' || text === 'receive' || text === 'both' ? text : otherwise;
}

/** Whether others hear or see this page through the call. @param {Call} call */
export const isHeard = (call) => !!call.leg && sends(call.audio) && call.leg.isLive('audio');
/** @param {Call} call */
export const isSeen = (call) => !!call.leg && sends(call.video) && call.leg.isLive('video');
