// What this browser remembers of its own: language, look, volume, until when not to be disturbed, missed calls seen.

/** @typedef {import('./home.js').Recent} Recent */

const KEY = 'intercom.tablet';
const DEFAULTS = {
    /** Empty: the browser's. @type {import('../common/i18n.js').Language | ''} */
    language: '',
    /** Empty: the system's. @type {'' | 'light' | 'dark'} */
    theme: '',
    /** 1 to 100 */
    volume: 80,
    /** When do-not-disturb ends, in milliseconds since 1970; 0: when it is switched off. */
    dndUntil: 0,
    /** The time of the newest call that was on the list when it was looked at. */
    seen: '',
    isOwnPictureHidden: false,
};

export class Settings {
    /** @param {Pick<Storage, 'getItem' | 'setItem'>} storage */
    constructor(storage) {
        this.storage = storage;
        this.values = { ...DEFAULTS, ...this.read() };
    }

    /** @returns {Partial<typeof DEFAULTS>} */
    read() {
        try {
            return JSON.parse(this.storage.getItem(KEY) ?? '{}') ?? {};
        } catch {
            // Spoilt by somebody else: the page begins as a new one.
            return {};
        }
    }

    /** @param {Partial<typeof DEFAULTS>} change */
    keep(change) {
        Object.assign(this.values, change);
        try {
            this.storage.setItem(KEY, JSON.stringify(this.values));
        } catch (error) {
            console.warn('this browser keeps no settings', error);
        }
    }

    get language() {
        return this.values.language;
    }
    set language(language) {
        this.keep({ language });
    }

    get theme() {
        return this.values.theme;
    }
    set theme(theme) {
        this.keep({ theme });
    }

    get volume() {
        return this.values.volume;
    }
    set volume(volume) {
        this.keep({ volume });
    }

    get dndUntil() {
        return this.values.dndUntil;
    }
    set dndUntil(dndUntil) {
        this.keep({ dndUntil });
    }

    get isOwnPictureHidden() {
        return this.values.isOwnPictureHidden;
    }
    set isOwnPictureHidden(isOwnPictureHidden) {
        this.keep({ isOwnPictureHidden });
    }

    /** @param {number} now */
    isDndOver(now) {
        return this.dndUntil > 0 && now >= this.dndUntil;
    }

    /** Missed calls that nobody has looked at. @param {Recent[]} recents the newest first */
    unseen(recents) {
        return recents.filter((recent) => recent.received && !recent.accepted && recent.time > this.values.seen);
    }

    /** @param {Recent[]} recents */
    seeRecents(recents) {
        const newest = recents.map((recent) => recent.time).sort().at(-1);
        if (newest !== undefined && newest > this.values.seen) this.keep({ seen: newest });
    }
}
