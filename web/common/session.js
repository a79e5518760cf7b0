// Whether this browser is signed in at the host, and as whom.
import { CommandError } from './commands.js';

/** @typedef {import('./commands.js').CommandClient} CommandClient */
/** @typedef {import('./xml.js').XmlElement} XmlElement */
/** Nobody is signed in; or somebody who may not use this page. @typedef {'unauthorized' | 'forbidden'} Lack */

export class Session {
    /** @param {CommandClient} commands @param {() => void} changed */
    constructor(commands, changed) {
        this.commands = commands;
        this.changed = changed;
        /** Why somebody must sign in; null while nobody need. @type {Lack | null} */
        this.lack = null;
        /** Why the last token was of no use. @type {CommandError | null} */
        this.error = null;
        this.isBusy = false;
        /** "admin", "household" or "tablet"; empty when nobody is signed in, or it is not known yet. */
        this.role = '';
        /** The tablets that this browser may be. @type {string[]} */
        this.tablets = [];
        /** The host lets everybody in, and nobody can sign out. */
        this.isOpen = false;
    }

    /** Whether the token was taken; `error` says why not. @param {string} token */
    async signIn(token) {
        this.error = null;
        this.isBusy = true;
        this.changed();
        try {
            this.take(await this.commands.signIn(token));
            this.lack = null;
        } catch (error) {
            this.error = /** @type {CommandError} */ (error);
        }
        this.isBusy = false;
        this.changed();
        return !this.error;
    }

    /** Asks the host; throws CommandError. */
    async read() {
        this.take(await this.commands.session());
        this.changed();
    }

    /** Throws CommandError when the host has not done it. */
    async signOut() {
        await this.commands.signOut();
        this.take(null);
        this.lack = 'unauthorized';
        this.changed();
    }

    /** What the host's answer to anything says about the session. @param {unknown} error null: it was answered well */
    learn(error) {
        const trouble = error instanceof CommandError ? error.trouble : '';
        if (trouble === 'unauthorized' || trouble === 'forbidden') this.lack = trouble;
        else if (trouble !== 'unreachable') this.lack = null;
    }

    /** @param {XmlElement | null} element */
    take(element) {
        this.role = element?.attribute('role') ?? '';
        this.isOpen = element?.attribute('open') === 'true';
        this.tablets = element?.elements('tablet').map((tablet) => tablet.attribute('name')) ?? [];
    }
}

/** The token in the fragment of an address, or in what somebody has copied of it; else the text itself. @param {string} text */
export function tokenIn(text) {
    const found = /#(?:.*&)?token=([^&\s]*)/.exec(text);
    if (!found) return text.trim();
    try {
        return decodeURIComponent(found[1]);
    } catch {
        return found[1];
    }
}
