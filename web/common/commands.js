// What pages ask of the host: commands to drivers, and sessions. A form out, an element back or an error that says what
// happened.
import { parse } from './xml.js';

/** Longer than the host holds a command before its watchdog answers. */
const ANSWER_TIME_MS = 12_000;

/** The elements with which drivers refuse. */
const REFUSALS = ['fail', 'failed', 'error'];

/** @typedef {import('./xml.js').XmlElement} XmlElement */
/** @typedef {Record<string, string | number | boolean>} Parameters */
/**
 * What went wrong: the host is not reached; nobody is signed in; who is signed in may not do this; too much was asked;
 * the host knows no such driver or command; it refused the request or failed; or the driver answered that it will not.
 * @typedef {'unreachable' | 'unauthorized' | 'forbidden' | 'tooMany' | 'unknown' | 'rejected' | 'failed'} Trouble
 */
/** @type {Record<number, Trouble>} */
const TROUBLES = { 401: 'unauthorized', 403: 'forbidden', 404: 'unknown', 429: 'tooMany' };

export class CommandError extends Error {
    /**
     * @param {Trouble} trouble @param {string} reason in the host's or driver's words @param {number} [status]
     * @param {number} [wait] seconds after which it may be tried again
     */
    constructor(trouble, reason, status = 0, wait = 0) {
        super(reason);
        this.name = 'CommandError';
        this.trouble = trouble;
        this.status = status;
        this.wait = wait;
    }
}

export class CommandClient {
    /** @param {{ base?: string, fetch?: typeof fetch, answerTime?: number }} [options] */
    constructor({ base = '', fetch = (...all) => globalThis.fetch(...all), answerTime = ANSWER_TIME_MS } = {}) {
        this.base = base;
        this.fetch = fetch;
        this.answerTime = answerTime;
    }

    /**
     * Sends a command and returns the element that answers it; null when the answer has none.
     * Throws CommandError, also when the driver refuses.
     * @param {string} driver @param {string} command @param {Parameters} [parameters]
     * @returns {Promise<XmlElement | null>}
     */
    send(driver, command, parameters = {}) {
        return this.exchange('POST', this.address(driver, command), form(parameters));
    }

    /** Adds what a token allows to this browser's session. What it may then, as an element. @param {string} token */
    signIn(token) {
        return this.exchange('POST', `${this.base}/session`, form({ token }));
    }

    /** What this browser may. */
    session() {
        return this.exchange('GET', `${this.base}/session`);
    }

    signOut() {
        return this.exchange('DELETE', `${this.base}/session`);
    }

    /**
     * @param {string} method @param {string} address @param {URLSearchParams} [body]
     * @returns {Promise<XmlElement | null>}
     */
    async exchange(method, address, body) {
        const response = await this.request(method, address, body);
        if (response.status === 204) return null;
        const text = await response.text().catch(() => '');
        const element = readable(text);
        const { status } = response;
        const wait = Number(response.headers.get('retry-after')) || 0;
        if (!response.ok) throw new CommandError(TROUBLES[status] ?? 'rejected', element?.text ?? text, status, wait);
        if (!element) throw new CommandError('rejected', `${address} was answered by what is no XML`, status);
        if (REFUSALS.includes(element.name)) throw new CommandError('failed', element.text, status);
        return element;
    }

    /** @param {string} method @param {string} address @param {URLSearchParams} [body] */
    async request(method, address, body) {
        try {
            return await this.fetch(address, {
                method,
                body,
                credentials: 'same-origin',
                redirect: 'error',
                signal: AbortSignal.timeout(this.answerTime),
            });
        } catch (error) {
            throw new CommandError('unreachable', error instanceof Error ? error.message : String(error));
        }
    }

    /**
     * Sends a command that outlives the page; nobody learns of its answer.
     * @param {string} driver @param {string} command @param {Parameters} parameters
     */
    sendLast(driver, command, parameters) {
        return navigator.sendBeacon(this.address(driver, command), form(parameters));
    }

    /** @param {string} driver @param {string} command */
    address(driver, command) {
        return `${this.base}/drivers/${encodeURIComponent(driver)}/commands/${encodeURIComponent(command)}`;
    }
}

/** @param {Parameters} parameters */
function form(parameters) {
    const fields = new URLSearchParams();
    for (const [name, value] of Object.entries(parameters)) fields.append(name, String(value));
    return fields;
}

/** @param {string} text @returns {XmlElement | null} */
function readable(text) {
    try {
        return parse(text);
    } catch {
        return null;
    }
}
