// The tablet: what it is, what it knows, and what its user can do. The views draw it and call its operations.
import { CommandClient, CommandError } from '../common/commands.js';
import { EventClient } from '../common/events.js';
import { languageOf, translator } from '../common/i18n.js';
import { Session } from '../common/session.js';
import { idList, isYes } from '../common/xml.js';
import { Buttons } from './buttons.js';
import { Call, Calls } from './calls.js';
import { Home } from './home.js';
import { Media } from './media.js';
import { Screen } from './screen.js';
import { Settings } from './settings.js';
import { Sounds } from './sounds.js';
import { en, textsOf } from './texts.js';

const VERSION = '1';
/** A loss that is mended in this time is not worth a sentence. */
const LOSS_SHOWN_MS = 2_000;
/** The stream itself does not tell that its cable is cut. */
const CHECK_MS = 30_000;
const CHECK_ANSWER_MS = 6_000;
const SENTENCE_MS = 5_000;
/** A device that may not be listened to. */
const FORBIDDEN = 403;
/** Both are drawn with a picture or without. @typedef {'sound' | 'picture'} Wish */
/** MEDIA_SEND_RECEIVE and MEDIA_NONE of the agent. @type {Record<Wish, string>} */
const VIDEO_MODES = { sound: '3', picture: '0' };

/** @typedef {import('../common/xml.js').XmlElement} XmlElement */
/** @typedef {import('./home.js').Device} Device */
/** @typedef {import('./home.js').Group} Group */
/** @typedef {import('./media.js').Lack} Lack */
/** @typedef {'home' | 'device' | 'group' | 'announce' | 'recents' | 'contacts' | 'settings'} Place */

export class Tablet {
    /** @param {string} name of the driver @param {() => void} changed */
    constructor(name, changed) {
        this.name = name;
        this.changed = changed;
        this.commands = new CommandClient();
        this.session = new Session(this.commands, changed);
        this.settings = new Settings(localStorage);
        this.t = translator(en, 'en');
        this.media = new Media();
        this.sounds = new Sounds();
        this.screen = new Screen(changed);
        const report = this.report.bind(this);
        this.home = new Home(this.commands, changed, report);
        this.buttons = new Buttons({
            press: (parameters) => this.home.tell('CUSTOM_BUTTON', parameters),
            say: (key, values) => this.say(this.t(key, values)),
            changed,
        });
        this.calls = new Calls({
            send: (command, parameters) => this.send(command, parameters),
            media: this.media,
            changed,
            report,
            answersWithPicture: (call) => call.kind === 'monitor' || this.isSet('answerWithVideo'),
            hasCallControl: () => this.callControl.isUp,
        });
        this.events = new EventClient(`/tablets/${encodeURIComponent(name)}/events`, {
            opened: () => this.connect(),
            closed: () => this.disconnect(),
            reset: () => this.home.readAll(),
            notified: (element) => {
                this.home.take(element);
                this.buttons.take(element);
            },
            addressed: (element) => this.take(element),
            garbled: (_data, error) => this.report(error),
        });
        this.reader = '';
        this.isConnected = false;
        this.lostAt = Date.now();
        /** The home has no tablet of this name. */
        this.isUnknown = false;
        /** What the driver says that this device is. @type {XmlElement | null} */
        this.identity = null;
        /** The device's settings by name, as the driver told them last. @type {Record<string, string>} */
        this.own = {};
        this.callControl = { isUp: true, reason: '' };
        /** @type {Lack | 'prompt' | null} */
        this.microphoneLack = null;
        this.hasCamera = true;
        /** @type {{ place: Place, id: string }} */
        this.at = { place: 'home', id: '' };
        /** What is said at the bottom of the screen for a while, and read aloud. */
        this.sentence = '';
        /** Devices that have refused to be listened to, by id. @type {Set<string>} */
        this.private = new Set();
        /** Whom announcements go to: a group's number. */
        this.audience = '0';
        this.isLatched = false;
        /** The number that is being typed. */
        this.number = '';
        /** Answers to a hello come as welcomes. @type {ReturnType<typeof setTimeout> | undefined} */
        this.check = undefined;
    }

    get language() {
        return this.settings.language || languageOf(navigator.languages);
    }

    /** For times and dates: the browser's own variety of the language. */
    get locale() {
        return navigator.languages.find((wish) => wish.startsWith(this.language)) ?? this.language;
    }

    /** One of the device's own settings. @param {string} name */
    isSet(name) {
        return isYes(this.own[name] ?? '');
    }

    /** Whether this tablet has a camera, as the home and the browser see it. */
    get canSend() {
        return this.hasCamera && isYes(this.identity?.attribute('camera') ?? '');
    }

    get deviceId() {
        return this.identity?.attribute('device') ?? '';
    }

    /** Whether the connection has been away for so long that the user should know. */
    get isAway() {
        return !this.isConnected && Date.now() - this.lostAt > LOSS_SHOWN_MS;
    }

    /** @param {string} token from the page's address; empty without one */
    start(token) {
        if (token) this.signIn(token);
        else this.events.start();
        this.lookAtDevices();
        this.media.isSecure && navigator.mediaDevices.addEventListener('devicechange', () => this.lookAtDevices());
        setInterval(() => this.tick(), 1000);
        setInterval(() => this.checkStream(), CHECK_MS);
    }

    tick() {
        this.calls.tick().catch((error) => this.report(error));
        this.screen.isBusy = this.calls.list.length > 0 || !this.isConnected;
        this.screen.look();
        if (this.settings.isDndOver(Date.now())) this.setDnd(false, 0);
        this.changed();
    }

    async lookAtDevices() {
        this.microphoneLack = await this.media.microphone();
        this.hasCamera = this.media.isSecure && (await this.media.has('videoinput'));
        if (this.microphoneLack !== 'insecure') this.media.prepare();
        this.changed();
    }

    async unlockSound() {
        await this.sounds.unlock();
        this.changed();
    }

    async allowMicrophone() {
        this.microphoneLack = await this.media.allow();
        this.changed();
    }

    // ---- who may use this page

    /** Also without success the stream is followed: this browser may have been signed in before. @param {string} token */
    async signIn(token) {
        await this.session.signIn(token);
        this.events.start();
    }

    /** The host ends the stream, and with it whatever goes on here. */
    async signOut() {
        try {
            await this.session.signOut();
            this.go('home');
        } catch (error) {
            this.report(error);
        }
    }

    // ---- the stream and the driver

    connect() {
        if (this.session.error) this.say(this.t('tokenNotNeeded'));
        Object.assign(this.session, { lack: null, error: null });
        this.session.read().catch((error) => this.report(error));
        this.isConnected = true;
        this.isUnknown = false;
        // Whoever sets the home up may have allowed it; the host was started anew then.
        this.private.clear();
        this.reader = '';
        this.home.readAll();
        this.changed();
    }

    async disconnect() {
        if (this.isConnected) this.lostAt = Date.now();
        const wasConnected = this.isConnected;
        this.isConnected = false;
        clearTimeout(this.check);
        this.changed();
        if (!wasConnected) await this.findRefusal();
    }

    /** The stream does not tell why it could not be had; the same driver's command does. */
    async findRefusal() {
        const error = await this.send('tabletHello', { version: VERSION }).then(() => null, (reason) => reason);
        this.session.learn(error);
        this.isUnknown = error instanceof CommandError && error.trouble === 'unknown';
        this.changed();
    }

    /** A hello that is not answered means that the connection is dead. */
    async checkStream() {
        if (!this.isConnected || this.calls.running.length) return;
        this.check = setTimeout(() => this.reconnect(), CHECK_ANSWER_MS);
        await this.greet();
    }

    reconnect() {
        this.disconnect();
        this.events.start();
    }

    async greet() {
        try {
            await this.send('tabletHello', { version: VERSION });
        } catch (error) {
            this.report(error);
        }
    }

    /** A command to this tablet's driver. @param {string} command @param {Record<string, string>} parameters */
    send(command, parameters) {
        return this.commands.send(this.name, command, { reader: this.reader, ...parameters });
    }

    /** The page closes: whoever is in a call with it hears so at once. */
    leave() {
        if (this.reader) this.commands.sendLast(this.name, 'tabletBye', { reader: this.reader });
        this.events.stop();
    }

    /** What the driver sends to this page. @param {XmlElement} element */
    take(element) {
        const reader = element.attribute('reader');
        if (reader && reader !== this.reader) {
            this.reader = reader;
            this.greet();
        }
        if (element.name === 'welcome') this.takeWelcome(element);
        else if (element.name === 'settings') this.takeSettings(element);
        else if (element.name === 'callControl') this.takeCallControl(element);
        else this.takeOfCall(element);
        this.ring();
        this.changed();
    }

    /** @param {XmlElement} element */
    takeOfCall(element) {
        const isNew = element.name === 'invite' && !this.calls.find(element.attribute('call'));
        this.calls.take(element);
        for (const call of this.calls.list) if (call.kind === 'monitor' && call.end?.code === FORBIDDEN) this.keepPrivate(call.destination);
        const call = isNew ? this.calls.find(element.attribute('call')) : undefined;
        // Nobody is spoken to without a sound before. Who is watched has the sign, and may be asleep.
        if (call?.role === 'callee' && call.answers && call.kind !== 'monitor') this.sounds.play('knock');
    }

    /** @param {XmlElement} element */
    takeWelcome(element) {
        clearTimeout(this.check);
        this.identity = element;
        const settings = element.find('settings');
        if (settings) this.takeSettings(settings);
        this.callControl = { isUp: true, reason: '' };
        const callControl = element.find('callControl');
        if (callControl) this.takeCallControl(callControl);
        this.calls.confirmRinging();
        // The driver hears of the new stream of a running call by its ping.
        this.calls.tick().catch((error) => this.report(error));
    }

    /** Its page says from now on that nobody may listen to it. @param {string} device its id */
    keepPrivate(device) {
        if (!device || this.private.has(device)) return;
        this.private.add(device);
        this.go('device', device);
    }

    /** @param {XmlElement} element */
    takeSettings(element) {
        for (const [name, value] of element.attributes) this.own[name] = value;
        const volume = Number(this.own.speakerVolume);
        if (volume > 0) this.settings.volume = Math.min(volume, 100);
        this.sounds.setVolume(this.settings.volume / 100);
    }

    /** @param {XmlElement} element */
    takeCallControl(element) {
        this.callControl = { isUp: isYes(element.attribute('up')), reason: element.attribute('reason') };
    }

    // ---- what the user sees and hears

    /** Rings for who rings. A call that comes in while another goes on knocks. */
    ring() {
        const call = this.calls.ringing;
        if (!call) return this.sounds.ring(null);
        this.screen.touch();
        const isTalking = this.calls.list.some((other) => other.state === 'up' || other.state === 'connecting');
        this.sounds.ring(isTalking ? 'knock' : this.isDoor(call) ? 'door' : 'call');
    }

    /** Whether somebody stands before the house. @param {Call} call */
    isDoor(call) {
        return call.called === 'doorbell' || (this.home.findDevice(call.from, call.name)?.doorStation ?? false);
    }

    /** @param {Place} place @param {string} [id] */
    go(place, id = '') {
        this.at = { place, id };
        if (place === 'recents') this.settings.seeRecents(this.home.recents);
        this.changed();
    }

    /** @param {string} sentence */
    say(sentence) {
        this.sentence = sentence;
        setTimeout(() => {
            if (this.sentence === sentence) this.sentence = '';
            this.changed();
        }, SENTENCE_MS);
        this.changed();
    }

    /** What went wrong, for the user and for who looks into the browser's log. @param {unknown} error */
    report(error) {
        console.warn(error);
        if (!(error instanceof CommandError)) return;
        if (error.trouble === 'failed' && !this.callControl.isUp) this.say(this.t('noCallControl'));
        else if (error.trouble === 'failed') this.say(this.t('refused', { reason: error.message || '–' }));
        else if (error.trouble === 'unauthorized') this.session.learn(error);
        else if (error.trouble === 'forbidden') this.say(this.t('notAllowed'));
        else if (error.trouble === 'tooMany') this.say(this.t('tooMany', { count: error.wait || 60 }));
        else if (error.trouble === 'rejected') this.say(this.t('notDone', { reason: error.message }));
    }

    // ---- what the user does

    /** Afterwards the home is shown, not the page behind its tile. @param {Device} device @param {Wish} wish */
    call(device, wish) {
        this.go('home');
        const call = this.newCall('regular', device.name, wish);
        this.order(call, 'SIP_REGULAR_CALL', { destination: device.id, video: VIDEO_MODES[wish], ring: '1' });
    }

    /** Whoever of the group answers first. @param {Group} group */
    callGroup(group) {
        this.go('home');
        const call = this.newCall('regular', group.name, 'sound');
        this.order(call, 'SIP_EXTERNAL_CALL', { destination: `${group.name}@intercom`, video: VIDEO_MODES.sound });
    }

    /** @param {Device} device */
    monitor(device) {
        this.go('home');
        const call = this.newCall('monitor', device.name, 'sound');
        call.destination = device.id;
        this.order(call, 'SIP_MONITOR_CALL', { destination: device.id, video: VIDEO_MODES.picture });
    }

    /** A number or address outside. @param {string} number @param {string} name */
    dial(number, name) {
        const call = this.newCall('regular', name || number, 'sound');
        this.order(call, 'SIP_EXTERNAL_CALL', { destination: number, video: VIDEO_MODES.sound });
    }

    announce() {
        if (this.calls.list.some((call) => call.isSpeaking && !call.isOver)) return;
        const { listeners } = this.audienceNow();
        if (!listeners.length) return this.say(this.t('nobodyToHear'));
        const call = this.newCall('broadcast', '', 'sound');
        const destinations = idList(listeners.map((device) => device.id));
        this.order(call, 'SIP_BROADCAST_CALL', { destinations, video: VIDEO_MODES.sound });
    }

    endAnnouncement() {
        for (const call of this.calls.list) if (call.isSpeaking && !call.isOver) this.calls.hangUp(call);
    }

    /** Who hears an announcement, and who of the group does not. */
    audienceNow() {
        const members = this.home.groups.find((group) => group.id === this.audience)?.members ?? [];
        const devices = this.home.devices.filter((device) => members.includes(device.id) && device.id !== this.deviceId);
        const isLeftOut = (/** @type {Device} */ device) => device.dnd || device.monitorMode;
        return { listeners: devices.filter((device) => !isLeftOut(device)), leftOut: devices.filter(isLeftOut) };
    }

    /** @param {import('./calls.js').CallKind} kind @param {string} name @param {Wish} wish */
    newCall(kind, name, wish) {
        const call = new Call(kind, 'caller', name);
        call.camera = wish === 'picture';
        return call;
    }

    /** @param {Call} call @param {string} command @param {Record<string, string>} parameters */
    order(call, command, parameters) {
        if (!this.isConnected || !this.deviceId) return this.say(this.t('cannotCallNow'));
        if (!this.callControl.isUp) return this.say(this.t('noCallControl'));
        this.calls.order(call, () => this.home.tell(command, { source: this.deviceId, ...parameters }));
    }

    /** @param {Call} call @param {boolean} camera */
    answer(call, camera) {
        this.calls.answer(call, camera);
        this.ring();
    }

    /** @param {Call} call */
    hangUp(call) {
        this.calls.hangUp(call);
        this.ring();
    }

    /** Goes on with a held call, and holds the other. @param {Call} held @param {Call} resumed */
    swap(held, resumed) {
        if (held.state === 'up') this.calls.setHeld(held, true);
        this.calls.setHeld(resumed, false);
    }

    /** @param {Call} call */
    silence(call) {
        call.isSilenced = !call.isSilenced;
        this.changed();
    }

    /** @param {Call} call */
    showKeypad(call) {
        call.hasKeypad = !call.hasKeypad;
        this.changed();
    }

    /** What is new of it goes to the other end. @param {Call} call @param {string} digits */
    typeDigits(call, digits) {
        const added = digits.startsWith(call.digits) ? digits.slice(call.digits.length).replace(/[^\d*#A-D]/g, '') : '';
        if (added) this.calls.sendDigits(call, added);
        call.digits = digits;
        this.changed();
    }

    /** @param {string} number */
    type(number) {
        this.number = number;
        this.changed();
    }

    /** One of the device's settings, by the agent, so that everybody learns of it. @param {string} name @param {string} value */
    async set(name, value) {
        try {
            await this.home.tell('setDeviceState', { idDevice: this.deviceId, [name]: value });
            this.own[name] = value;
        } catch (error) {
            this.say(this.t('notSaved'));
            this.report(error);
        }
        this.changed();
    }

    /** @param {boolean} isOn @param {number} until milliseconds since 1970; 0: until it is switched off */
    setDnd(isOn, until) {
        this.settings.dndUntil = isOn ? until : 0;
        return this.set('dnd', String(isOn));
    }

    /** @param {number} volume 1 to 100 */
    setVolume(volume) {
        this.settings.volume = volume;
        this.sounds.setVolume(volume / 100);
        this.set('speakerVolume', String(volume));
    }

    /** @param {import('../common/i18n.js').Language | ''} language */
    setLanguage(language) {
        this.settings.language = language;
        return this.applyLanguage();
    }

    async applyLanguage() {
        const { language } = this;
        try {
            this.t = translator(await textsOf(language), language);
        } catch (error) {
            // Better in another language than not at all.
            this.report(error);
        }
        this.applyLook();
    }

    /** @param {'' | 'light' | 'dark'} theme */
    setTheme(theme) {
        this.settings.theme = theme;
        this.applyLook();
    }

    applyLook() {
        document.documentElement.lang = this.language;
        document.documentElement.dataset.theme = this.settings.theme;
        this.changed();
    }

    /** @param {string} id */
    forgetRecent(id) {
        this.home.tell('deleteRecentContact', { id }).catch((error) => this.report(error));
    }

    forgetRecents() {
        this.home.tell('clearRecentContactList', {}).catch((error) => this.report(error));
    }
}
