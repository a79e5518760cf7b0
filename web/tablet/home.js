// The home as the agent tells of it: devices, groups, contacts, recent calls. Follows its notifications.
import { isYes } from '../common/xml.js';

const AGENT = 'agent';
/** Many changes come together, as at the start of the host. */
const GATHER_MS = 60;
const RETRY_MS = 2_000;

/** @typedef {import('../common/xml.js').XmlElement} XmlElement */
/** @typedef {import('../common/commands.js').CommandClient} CommandClient */
/** @typedef {import('../common/commands.js').CommandError} CommandError */
/** @typedef {{ id: string, name: string }} Button */
/**
 * @typedef {{ id: string, key: string, user: string, name: string, state: string, dnd: boolean, monitorMode: boolean,
 *     excludeFromNav: boolean, doorStation: boolean, camera: boolean, display: boolean, thirdParty: boolean }} Device
 */
/** @typedef {{ id: string, name: string, members: string[] }} Group */
/** @typedef {{ kind: string, number: string, speedDial: boolean }} Phone */
/** @typedef {{ id: string, name: string, phones: Phone[] }} Contact */
/** @typedef {{ id: string, name: string, address: string, time: string, length: string, received: boolean, accepted: boolean }} Recent */
/** What is read as a whole. @typedef {'devices' | 'groups' | 'contacts' | 'recents' | 'external'} Part */

/** @type {Part[]} */
const ALL_PARTS = ['devices', 'groups', 'contacts', 'recents', 'external'];
/** Which parts a notification makes old. @type {[RegExp, Part[]][]} */
const MAKES_OLD = [
    [/^Device(Added|Removed|OrderChanged)$/, ['devices', 'groups']],
    [/^Group/, ['groups']],
    [/^Contact/, ['contacts']],
    [/^RecentContact/, ['recents']],
];

export class Home {
    /** @param {CommandClient} commands @param {() => void} changed @param {(error: unknown) => void} report */
    constructor(commands, changed, report) {
        this.commands = commands;
        this.changed = changed;
        this.report = report;
        /** @type {Device[]} */
        this.devices = [];
        /** @type {Group[]} */
        this.groups = [];
        /** @type {Contact[]} */
        this.contacts = [];
        /** The newest first. @type {Recent[]} */
        this.recents = [];
        /** Whether calls outside are possible. */
        this.isExternal = false;
        this.isRead = false;
        /** Buttons by device, as far as asked for. @type {Map<string, Button[]>} */
        this.buttons = new Map();
        /** @type {Set<Part>} */
        this.old = new Set();
        /** @type {ReturnType<typeof setTimeout> | undefined} */
        this.timer = undefined;
        this.isReading = false;
    }

    /** Everything may have changed. */
    readAll() {
        this.buttons.clear();
        this.read(ALL_PARTS);
    }

    /** @param {Part[]} parts @param {number} [delay] */
    read(parts, delay = GATHER_MS) {
        for (const part of parts) this.old.add(part);
        clearTimeout(this.timer);
        this.timer = setTimeout(() => this.readOld(), delay);
    }

    async readOld() {
        if (this.isReading) return this.read([]);
        this.isReading = true;
        const parts = [...this.old];
        this.old.clear();
        const results = await Promise.all(parts.map((part) => this.readPart(part)));
        this.isReading = false;
        const failed = parts.filter((_part, at) => !results[at]);
        if (!failed.includes('devices')) this.isRead = true;
        if (failed.length) this.read(failed, RETRY_MS);
        this.changed();
    }

    /** False when it should be tried again. @param {Part} part */
    async readPart(part) {
        try {
            await this.readers[part]();
            return true;
        } catch (error) {
            const { trouble } = /** @type {CommandError} */ (error);
            // Who is signed in may be without the right to see one of them; asking again changes nothing.
            if (trouble === 'forbidden') return true;
            this.report(error);
            // All is read when somebody has signed in.
            return trouble === 'unauthorized';
        }
    }

    /** @type {Record<Part, () => Promise<void>>} */
    readers = {
        devices: async () => {
            this.devices = (await this.ask('getDeviceList')).elements('device').map((device) => deviceOf(device));
        },
        groups: async () => {
            this.groups = (await this.ask('getGroupList')).elements('group').map(groupOf);
        },
        contacts: async () => {
            this.contacts = (await this.ask('getContactList')).elements('contact').map(contactOf);
        },
        recents: async () => {
            this.recents = (await this.ask('getRecentContactList')).elements('recentContact').map(recentOf).reverse();
        },
        external: async () => {
            this.isExternal = isYes((await this.ask('getIsExternal')).text);
        },
    };

    /** @param {string} command @param {Record<string, string>} [parameters] */
    async ask(command, parameters) {
        const answer = await this.commands.send(AGENT, command, parameters);
        if (!answer) throw new Error(`${command} was answered with nothing`);
        return answer;
    }

    /** A command that needs no answer. @param {string} command @param {Record<string, string>} parameters */
    tell(command, parameters) {
        return this.commands.send(AGENT, command, parameters);
    }

    /** A notification. @param {XmlElement} element */
    take(element) {
        const device = element.find('device');
        const known = device && this.devices.find((other) => other.id === device.value('id'));
        if (element.name === 'AGENT_EXTERNAL') this.isExternal = element.value('state') === '1';
        else if (known && device) Object.assign(known, deviceOf(device, known));
        else if (/^Device\w*Changed$|^DeviceUpdated$/.test(element.name)) this.read(['devices']);
        for (const [names, parts] of MAKES_OLD) if (names.test(element.name)) this.read(parts);
        if (element.name === 'DeviceChanged' || element.name === 'DeviceAdded') this.buttons.clear();
        this.changed();
    }

    /** @param {string} id */
    device(id) {
        return this.devices.find((device) => device.id === id);
    }

    /** Who an address, an account's user or a name stands for. @param {string} user @param {string} [name] */
    findDevice(user, name = '') {
        const plain = user.replace(/^sip:/, '').replace(/@.*$/, '');
        const known = (/** @type {(device: Device) => string} */ of, /** @type {string} */ wanted) =>
            wanted ? this.devices.find((device) => of(device) === wanted) : undefined;
        return (
            known((device) => device.user, plain) ??
            known((device) => device.key, plain) ??
            known((device) => device.key, user) ??
            known((device) => device.name, plain) ??
            known((device) => device.name, name)
        );
    }

    /** A device's own buttons; asked for once. @param {string} id @returns {Button[]} */
    buttonsOf(id) {
        const known = this.buttons.get(id);
        if (known) return known;
        this.buttons.set(id, []);
        this.readButtons(id).catch((error) => {
            this.report(error);
            setTimeout(() => this.buttons.delete(id), RETRY_MS);
        });
        return [];
    }

    /** @param {string} id */
    async readButtons(id) {
        const answer = await this.commands.send(AGENT, 'getCustomButtons', { idDevice: id });
        const buttons = answer?.elements('button').map((button, at) => ({
            id: button.value('id') || String(at + 1),
            name: button.value('name'),
        }));
        this.buttons.set(id, buttons ?? []);
        this.changed();
    }
}

/** @param {XmlElement} element @param {Partial<Device>} [before] what an element that tells less leaves as it was @returns {Device} */
function deviceOf(element, before = {}) {
    /** @param {'id' | 'key' | 'user' | 'name' | 'state'} name */
    const text = (name) => element.find(name)?.text ?? before[name] ?? '';
    /** @param {'dnd' | 'monitorMode' | 'excludeFromNav' | 'doorStation' | 'camera' | 'display' | 'thirdParty'} name */
    const flag = (name) => (element.find(name) ? element.flag(name) : (before[name] ?? false));
    return {
        id: text('id'),
        key: text('key'),
        user: text('user'),
        name: text('name'),
        state: text('state'),
        dnd: flag('dnd'),
        monitorMode: flag('monitorMode'),
        excludeFromNav: flag('excludeFromNav'),
        doorStation: flag('doorStation'),
        camera: flag('camera'),
        display: flag('display'),
        thirdParty: flag('thirdParty'),
    };
}

/** @param {XmlElement} element @returns {Group} */
function groupOf(element) {
    const members = element.find('devices')?.elements() ?? [];
    return { id: element.value('groupId'), name: element.value('name'), members: members.map((member) => member.text) };
}

/** @param {XmlElement} element @returns {Contact} */
function contactOf(element) {
    const names = `${element.value('firstName')} ${element.value('lastName')}`.trim();
    const phones = (element.find('phoneType')?.elements() ?? []).map((phone) => ({
        kind: phone.name,
        number: phone.text,
        speedDial: isYes(phone.attribute('speedDial')),
    }));
    return { id: element.value('contactId'), name: element.value('displayName') || names, phones };
}

/** @param {XmlElement} element @returns {Recent} */
function recentOf(element) {
    return {
        id: element.value('id'),
        name: element.value('displayName'),
        address: element.value('aor'),
        time: element.value('callTime'),
        length: element.value('callLength'),
        received: element.flag('receivedCall'),
        accepted: element.flag('acceptedCall'),
    };
}
