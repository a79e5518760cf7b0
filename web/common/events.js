// Follows a stream of the host: notifications to all user interfaces and, on a tablet's stream, what its driver sends
// to this page alone. Connects again by itself.
import { parse } from './xml.js';

// Short at first, since a tablet counts as gone when its stream is away for two seconds.
const FIRST_RETRY_MS = 100;
const LONGEST_RETRY_MS = 5_000;

/** @typedef {import('./xml.js').XmlElement} XmlElement */
/**
 * @typedef {object} Listener
 * @property {() => void} [opened]
 * @property {() => void} [closed] the stream is lost or cannot be had; it is tried again
 * @property {(element: XmlElement) => void} [notified] something in the home changed
 * @property {(element: XmlElement) => void} [addressed] the tablet's driver sends this
 * @property {() => void} [reset] notifications were lost: everything is to be read again
 * @property {(data: string, error: unknown) => void} [garbled] data that could not be read or dealt with
 */

export class EventClient {
    /**
     * @param {string} address @param {Listener} listener
     * @param {{ open?: (address: string) => EventSource, firstRetry?: number, longestRetry?: number }} [options]
     */
    constructor(address, listener, options = {}) {
        this.address = address;
        this.listener = listener;
        this.open = options.open ?? ((at) => new EventSource(at));
        this.firstRetry = options.firstRetry ?? FIRST_RETRY_MS;
        this.longestRetry = options.longestRetry ?? LONGEST_RETRY_MS;
        this.retry = this.firstRetry;
        /** @type {EventSource | null} */
        this.source = null;
        /** @type {ReturnType<typeof setTimeout> | undefined} */
        this.timer = undefined;
    }

    /** Connects, at once when it waits for its next try. */
    start() {
        this.stop();
        const source = this.open(this.address);
        this.source = source;
        source.onopen = () => {
            this.retry = this.firstRetry;
            this.listener.opened?.();
        };
        source.onerror = () => this.lose();
        source.onmessage = (event) => this.take(event.data, (element) => this.listener.notified?.(element));
        source.addEventListener('tablet', (event) => this.take(event.data, (element) => this.listener.addressed?.(element)));
        source.addEventListener('reset', () => this.listener.reset?.());
    }

    stop() {
        clearTimeout(this.timer);
        this.source?.close();
        this.source = null;
    }

    // A browser's own second try comes too late, and after an error status it makes none.
    lose() {
        this.stop();
        this.timer = setTimeout(() => this.start(), this.retry);
        this.retry = Math.min(this.retry * 2, this.longestRetry);
        this.listener.closed?.();
    }

    /** @param {string} data @param {(element: XmlElement) => void} deed */
    take(data, deed) {
        try {
            deed(parse(data));
        } catch (error) {
            this.listener.garbled?.(data, error);
        }
    }
}
