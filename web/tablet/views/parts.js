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

/** What somebody should know, with the way out. @param {string} text @param {{ text: string, deed: () => unknown }} [wayOut] */
export const notice = (text, wayOut) => html`<div class="notice">
    ${icon('warning')}<p>${text}</p>
    ${wayOut ? html`<button type="button" class="button small" @click=${wayOut.deed}>${wayOut.text}</button>` : nothing}
</div>`;

/** The head of a page with the way back. @param {Tablet} tablet @param {string} title */
export const pageHead = (tablet, title) =>
    html`<header class="page-head">${iconButton('back', tablet.t('back'), () => tablet.go('home'))}<h1>${title}</h1></header>`;

/** @type {WeakMap<EventTarget, ReturnType<typeof setTimeout>>} */
const presses = new WeakMap();

/**
 * A button that must be held, by finger or by key, before it does anything.
 * @param {{ icon: IconName, text: string, hint: string, deed: () => void, state: import('../buttons.js').Outcome }} button
 */
export function heldButton({ icon: name, text, hint, deed, state }) {
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
    return html`<button type="button" class="button held ${state}" @pointerdown=${press} @keydown=${press}
        @pointerup=${letGo} @pointerleave=${letGo} @pointercancel=${letGo} @keyup=${letGo} @blur=${letGo}
        @contextmenu=${(/** @type {Event} */ event) => event.preventDefault()}>
        ${icon(drawingOf(state) ?? name)}<span class="words"><span>${text}</span><small>${hint}</small></span>
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

/** @typedef {import('../buttons.js').Outcome} Outcome */
/** @type {Record<Outcome, import('../texts.js').TextKey>} */
const HINTS = { '': 'holdHint', asked: 'asked', done: 'opened', failed: 'notOpened' };

/** @param {Outcome} state @returns {IconName | undefined} */
const drawingOf = (state) => (state === 'done' ? 'check' : state === 'failed' ? 'warning' : undefined);

/** The buttons of a device: those of a door must be held. @param {Tablet} tablet @param {import('../home.js').Device} device */
export function deviceButtons(tablet, device) {
    return tablet.home.buttonsOf(device.id).map((own) => {
        const state = tablet.buttons.outcomeOf(device.id, own.id);
        const deed = () => tablet.buttons.press(device, own);
        const hint = tablet.t(HINTS[state]);
        if (device.doorStation) return heldButton({ icon: 'door', text: own.name, hint, deed, state });
        return button({ icon: drawingOf(state) ?? 'keypad', text: own.name, deed });
    });
}

/**
 * Keys for who has no keyboard, and a field for who has one.
 * @param {Tablet} tablet @param {string} value @param {(value: string) => void} changed
 */
export const keypad = (tablet, value, changed) => html`<div class="keypad">
    <div class="keypad-line">
        <input type="tel" inputmode="tel" autocomplete="off" aria-label=${tablet.t('number')} .value=${value}
            @input=${(/** @type {Event} */ event) => changed(/** @type {HTMLInputElement} */ (event.target).value)} />
        ${iconButton('erase', tablet.t('erase'), () => changed(value.slice(0, -1)))}
    </div>
    ${[...'123456789*0#'].map((digit) => html`<button type="button" class="button key" @click=${() => changed(value + digit)}>${digit}</button>`)}
</div>`;

/** @param {Tablet} tablet */
export const volume = (tablet) => html`<label class="volume">
    ${icon('sound')}<span>${tablet.t('volume')}</span>
    <input type="range" min="1" max="100" aria-label=${tablet.t('volume')} .value=${String(tablet.settings.volume)}
        @input=${(/** @type {Event} */ event) => tablet.sounds.setVolume(Number(/** @type {HTMLInputElement} */ (event.target).value) / 100)}
        @change=${(/** @type {Event} */ event) => tablet.setVolume(Number(/** @type {HTMLInputElement} */ (event.target).value))} />
</label>`;

/**
 * One of several, as buttons in a row.
 * @template {string} Value
 * @param {string} title @param {Value} value @param {[Value, string][]} choices @param {(value: Value) => void} choose
 */
export const choice = (title, value, choices, choose) => html`<div class="choice" role="radiogroup" aria-label=${title}>
    <span class="choice-title">${title}</span>
    ${choices.map(([own, text]) => html`<label class="chip-choice">
        <input type="radio" name=${title} .checked=${own === value} @change=${() => choose(own)} /><span>${text}</span>
    </label>`)}
</div>`;

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
