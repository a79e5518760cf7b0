// The ring tones, made by the page itself.

/** Seconds from one ring to the next. */
const PERIOD = 3;
/** Notes of a period: frequency in Hz, beginning and length in seconds. */
const TONES = {
    call: [[660, 0, 0.35], [880, 0.4, 0.35], [660, 0.9, 0.35], [880, 1.3, 0.5]],
    door: [[784, 0, 0.9], [587, 0.7, 1.4]],
    knock: [[740, 0, 0.12]],
};

/** Who rings, a call, the door, or somebody while another call goes on. @typedef {keyof typeof TONES} Ring */

export class Sounds {
    constructor() {
        this.context = new AudioContext();
        this.gain = this.context.createGain();
        this.gain.connect(this.context.destination);
        /** @type {Ring | null} */
        this.ringing = null;
        /** @type {ReturnType<typeof setInterval> | undefined} */
        this.timer = undefined;
    }

    /** Browsers are silent until the page has been touched once. */
    get needsTouch() {
        return this.context.state !== 'running';
    }

    /** To be called when the page is touched. */
    async unlock() {
        await this.context.resume();
    }

    /** @param {number} volume 0 to 1 */
    setVolume(volume) {
        this.gain.gain.value = volume;
    }

    /** Rings until told otherwise; null is silence. @param {Ring | null} ring */
    ring(ring) {
        if (this.ringing === ring) return;
        this.ringing = ring;
        clearInterval(this.timer);
        if (!ring) return;
        this.play(ring);
        this.timer = setInterval(() => this.play(ring), PERIOD * 1000);
    }

    /** @param {Ring} ring */
    play(ring) {
        // What is asked of a silent context would all sound at once when it is touched.
        if (this.needsTouch) return;
        for (const [frequency, start, length] of TONES[ring]) {
            const at = this.context.currentTime + start;
            const tone = this.context.createOscillator();
            const level = this.context.createGain();
            tone.frequency.value = frequency;
            level.gain.setValueAtTime(0, at);
            level.gain.linearRampToValueAtTime(0.5, at + 0.02);
            level.gain.exponentialRampToValueAtTime(0.001, at + length);
            tone.connect(level).connect(this.gain);
            tone.start(at);
            tone.stop(at + length);
        }
    }
}
