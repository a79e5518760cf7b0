// The tablet's screen: kept awake, and dimmed to a clock when nobody has touched it for a while.

/** A bright picture that never changes burns in. */
const REST_TIME_MS = 60_000;

export class Screen {
    /** @param {() => void} changed @param {number} [restTime] */
    constructor(changed, restTime = REST_TIME_MS) {
        this.changed = changed;
        this.restTime = restTime;
        this.isResting = false;
        this.isKeptAwake = false;
        /** Calls and what somebody must see keep it bright. */
        this.isBusy = false;
        this.touched = Date.now();
        /** @type {WakeLockSentinel | null} */
        this.lock = null;
    }

    /** Asks for the lock, which the browser takes back whenever the page is hidden. */
    async keepAwake() {
        if (document.visibilityState !== 'visible' || (this.lock && !this.lock.released)) return;
        try {
            this.lock = await navigator.wakeLock.request('screen');
            this.isKeptAwake = true;
        } catch {
            // Settings tell that the screen may go off: by the battery's level, or in a browser that has no such lock.
            this.isKeptAwake = false;
        }
        this.changed();
    }

    /** Somebody is there. True when the screen rested, so that the touch has done its work by waking it. */
    touch() {
        const wasResting = this.isResting;
        this.touched = Date.now();
        this.isResting = false;
        if (wasResting) this.changed();
        return wasResting;
    }

    /** To be called now and then. */
    look() {
        if (this.isBusy) return this.touch();
        if (this.isResting || Date.now() - this.touched < this.restTime) return;
        this.isResting = true;
        this.changed();
    }
}
