// Commands to drivers: a form out, an element back or an error that says what happened.
import { parse } from './xml.js';

/** Longer than the host holds a command before its watchdog answers. */
const ANSWER_TIME_MS = 12_000;

/** The elements with which drivers refuse. */
const REFUSALS = ['fail', 'failed', 'error'];

/** @typedef {import('./xml.js').XmlElement} XmlElement */
/** @typedef {Record<string, string | number | boolean>} Parameters */
/**
 * What went wrong: the host is not reached; it wants a session or a right that is missing; it knows no such driver or
 * command; it refused the request or failed; or the driver answered that it will not.
 * @typedef {'unreachable' | 'unauthorized' | 'unknown' | 'rejected' | 'failed'} Trouble
 */

export class CommandError extends Error {
    /** @param {Trouble} trouble @param {string} reason in the host's or driver's words @param {number} [status] */
    constructor(trouble, reason, status = 0) {
        super(reason);
        this.name = 'CommandError';
        this.trouble = trouble;
        this.status = status;
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
    async send(driver, command, parameters = {}) {
        const response = await this.request(driver, command, parameters);
        if (response.status === 204) return null;
        const text = await response.text().catch(() => '');
        const element = readable(text);
        if (!response.ok) throw new CommandError(troubleOf(response.status), element?.text ?? text, response.status);
        if (!element) throw new CommandError('rejected', `${command} was answered by what is no XML`, response.status);
        if (REFUSALS.includes(element.name)) throw new CommandError('failed', element.text, response.status);
        return element;
    }

    /** @param {string} driver @param {string} command @param {Parameters} parameters */
    async request(driver, command, parameters) {
        try {
            return await this.fetch(this.address(driver, command), {
                method: 'POST',
                body: form(parameters),
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

/** @param {number} status @returns {Trouble} */
function troubleOf(status) {
    if (status === 401 || status === 403) return 'unauthorized';
    return status === 404 ? 'unknown' : 'rejected';
}
