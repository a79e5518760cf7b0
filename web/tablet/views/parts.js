// What all views are made of: icons, buttons, texts of times, and buttons that are held.
import { icons } from '../../vendor/icons/icons.js';
import { html, nothing } from '../../vendor/lit/lit.js';

/** Long enough that nobody opens a door by brushing against the screen. */
export const HOLD_MS = 500;

/** @typedef {keyof typeof icons} IconName */
/** @typedef {import('../tablet.js').Tablet} Tablet */

/** A drawing beside words, which say what it means. @param {IconName} name */
export const icon = (name) => html`<svg class="icon" viewBox="0 0 24 24" aria-hidden="true">${icons[name]}</svg>`;

/** A drawing that says something by itself. @param {IconName} name @param {string} text */
export const namedIcon = (name, text) => html`<svg class="icon" viewBox="0 0 24 24" role="img" aria-label=${text}>${icons[name]}</svg>`;

/**
 * A button with icon and word. `isOn` makes it one that stays pressed.
 * @param {{ icon: IconName, text: string, deed: () => void, style?: string, isOn?: boolean, isOff?: boolean }} button
 */
export const button = ({ icon: name, text, deed, style = '', isOn, isOff = false }) =>
    html`<button type="button" class="button ${style}" aria-pressed=${isOn ?? nothing} ?disabled=${isOff} @click=${deed}>
        ${icon(name)}<span>${text}</span>
    </button>`;

/** A button that shows its icon alone. @param {IconName} name @param {string} text @param {() => void} deed */
export const iconButton = (name, text, deed) =>
    html`<button type="button" class="button round" aria-label=${text} title=${text} @click=${deed}>${icon(name)}</button>`;

/** The head of a page with the way back. @param {Tablet} tablet @param {string} title */
export const pageHead = (tablet, title) =>
    html`<header class="page-head">${iconButton('back', tablet.t('back'), () => tablet.go('home'))}<h1>${title}</h1></header>`;

/** @type {WeakMap<EventTarget, ReturnType<typeof setTimeout>>} */
const presses = new WeakMap();

/**
 * A button that must be held, by finger or by key, before it does anything.
 * @param {{ icon: IconName, text: string, hint: string, deed: () => void, isDone: boolean }} button
 */
export function heldButton({ icon: name, text, hint, deed, isDone }) {
    /** @param {Event} event */
    const press = (event) => {
        const element = /** @type {HTMLElement} */ (event.currentTarget);
        if (presses.has(element) || !isPress(event)) return;
        element.classList.add('pressed');
        presses.set(
            element,
            setTimeout(() => {
                release(element);
                deed();
            }, HOLD_MS),
        );
    };
    return html`<button type="button" class="button held ${isDone ? 'done' : ''}" @pointerdown=${press} @keydown=${press}
        @pointerup=${letGo} @pointerleave=${letGo} @pointercancel=${letGo} @keyup=${letGo} @blur=${letGo}
        @contextmenu=${(/** @type {Event} */ event) => event.preventDefault()}>
        ${icon(isDone ? 'check' : name)}<span class="words"><span>${text}</span><small>${hint}</small></span>
    </button>`;
}

/** @param {Event} event */
export const isPress = (event) =>
    event instanceof KeyboardEvent ? !event.repeat && (event.key === 'Enter' || event.key === ' ') : /** @type {PointerEvent} */ (event).button === 0;

/** @param {Event} event */
const letGo = (event) => release(/** @type {HTMLElement} */ (event.currentTarget));

/** @param {HTMLElement} element */
function release(element) {
    clearTimeout(presses.get(element));
    presses.delete(element);
    element.classList.remove('pressed');
}

/** The buttons of a device: those of a door must be held. @param {Tablet} tablet @param {import('../home.js').Device} device */
export function deviceButtons(tablet, device) {
    return tablet.home.buttonsOf(device.id).map((own) => {
        const isDone = tablet.obeyed.has(`${device.id}/${own.id}`);
        const deed = () => tablet.press(device.id, own);
        const hint = isDone ? tablet.t('opened') : tablet.t('holdHint');
        if (device.doorStation) return heldButton({ icon: 'door', text: own.name, hint, deed, isDone });
        return button({ icon: isDone ? 'check' : 'keypad', text: own.name, deed });
    });
}

/** @param {Tablet} tablet @param {number | Date} time */
export const clockTime = (tablet, time) => new Intl.DateTimeFormat(tablet.locale, { hour: '2-digit', minute: '2-digit' }).format(time);

/** @param {Tablet} tablet @param {number | Date} time */
export const longDate = (tablet, time) =>
    new Intl.DateTimeFormat(tablet.locale, { weekday: 'long', day: 'numeric', month: 'long' }).format(time);

/** When a call was: as a driver told it where that is no time. @param {Tablet} tablet @param {string} text */
export function callTime(tablet, text) {
    const time = new Date(text);
    if (Number.isNaN(time.getTime())) return text;
    const days = Math.round((startOfDay(new Date()) - startOfDay(time)) / 86_400_000);
    const clock = clockTime(tablet, time);
    if (days === 0) return `${tablet.t('today')}, ${clock}`;
    if (days === 1) return `${tablet.t('yesterday')}, ${clock}`;
    return `${new Intl.DateTimeFormat(tablet.locale, { day: 'numeric', month: 'short' }).format(time)}, ${clock}`;
}

/** @param {Date} time */
const startOfDay = (time) => new Date(time.getFullYear(), time.getMonth(), time.getDate()).getTime();

/** @param {number} milliseconds */
export function duration(milliseconds) {
    const seconds = Math.max(0, Math.floor(milliseconds / 1000));
    return `${Math.floor(seconds / 60)}:${String(seconds % 60).padStart(2, '0')}`;
}
