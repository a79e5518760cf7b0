// The buttons of devices, the door opener above all: what was pressed, and what came of it as far as anybody tells.

/** A station has 5 seconds to answer; what it says is shown a little longer. */
const SHOWN_MS = 8_000;

/** @typedef {import('../common/xml.js').XmlElement} XmlElement */
/** @typedef {import('./home.js').Device} Device */
/** @typedef {import('./home.js').Button} Button */
/** @typedef {import('./texts.js').TextKey} TextKey */
/** Nothing is known; it was passed on; the device tells that it has done it, or not. @typedef {'' | 'asked' | 'done' | 'failed'} Outcome */
/**
 * @typedef {object} Surroundings
 * @property {(parameters: Record<string, string>) => Promise<unknown>} press the home takes it without saying what comes of it
 * @property {(key: TextKey, values: Record<string, string>) => void} say
 * @property {() => void} changed
 */

export class Buttons {
    /** @param {Surroundings} surroundings */
    constructor(surroundings) {
        this.surroundings = surroundings;
        /** @type {Map<string, { outcome: Outcome, timer: ReturnType<typeof setTimeout> }>} */
        this.pressed = new Map();
    }

    /** @param {string} device @param {string} button @returns {Outcome} */
    outcomeOf(device, button) {
        return this.pressed.get(`${device}/${button}`)?.outcome ?? '';
    }

    /** @param {Device} device @param {Button} button */
    async press(device, { id, name }) {
        const { press, say } = this.surroundings;
        this.note(device.id, id, 'asked');
        try {
            await press({ idDevice: device.id, button: id, idButton: id });
            // The device may have told already.
            if (this.outcomeOf(device.id, id) !== 'asked') return;
            if (device.doorStation) say('askedToOpen', { name: device.name });
            else say('passedOn', { name });
        } catch (error) {
            this.note(device.id, id, 'failed');
            say('notObeyed', { name });
            console.warn(error);
        }
    }

    /** What devices tell everybody in the home. What others have pressed is shown, and not said. @param {XmlElement} element */
    take(element) {
        if (element.name !== 'DeviceButtonPressed') return;
        const [device, button, name] = ['id', 'button', 'name'].map((child) => element.value(child));
        const isOurs = this.outcomeOf(device, button) !== '';
        const isDone = element.flag('success');
        this.note(device, button, isDone ? 'done' : 'failed');
        if (isOurs) this.surroundings.say(isDone ? 'obeyed' : 'notObeyed', { name });
    }

    /** @param {string} device @param {string} button @param {Outcome} outcome */
    note(device, button, outcome) {
        const key = `${device}/${button}`;
        clearTimeout(this.pressed.get(key)?.timer);
        const timer = setTimeout(() => {
            this.pressed.delete(key);
            this.surroundings.changed();
        }, SHOWN_MS);
        this.pressed.set(key, { outcome, timer });
        this.surroundings.changed();
    }
}
