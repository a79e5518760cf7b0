// Which screen is shown: who rings goes before who talks, calls before everything else.
import { html, keyed, nothing, repeat } from '../../vendor/lit/lit.js';
import { liveBar, ringingView, talkingView } from './call.js';
import { homeView, notices } from './home.js';
import { clockTime, pageHead } from './parts.js';

/** @typedef {import('../tablet.js').Tablet} Tablet */
/** @typedef {import('../calls.js').Call} Call */

/** Where the clock of the resting screen stands: it wanders, since a picture that never changes burns in. */
const PLACES = 8;

/** When the host is away. */
const RETRY_MS = 2_000;

/** @type {typeof import('./pages.js').views | null} */
let pages = null;
let isLoading = false;

/** Fetches what is not needed at once. @param {Tablet} tablet */
export async function loadPages(tablet) {
    if (pages || isLoading) return;
    isLoading = true;
    try {
        pages = (await import('./pages.js')).views;
        isLoading = false;
    } catch (error) {
        tablet.report(error);
        setTimeout(() => {
            isLoading = false;
            tablet.changed();
        }, RETRY_MS);
    }
    tablet.changed();
}

/** @param {Tablet} tablet @param {keyof typeof import('./pages.js').views} name */
function page(tablet, name) {
    if (pages) return keyed(name, pages[name](tablet));
    loadPages(tablet);
    return keyed('reading', html`<main class="page">${pageHead(tablet, tablet.name)}<p class="empty">${tablet.t('reading')}</p></main>`);
}

/** @param {Tablet} tablet */
export const appView = (tablet) => html`
    ${liveBar(tablet)}
    ${screen(tablet)}
    ${sounds(tablet)}
    <p class="sentence" role="status">${tablet.sentence}</p>
    ${tablet.screen.isResting ? rest(tablet) : nothing}`;

/** @param {Tablet} tablet */
function screen(tablet) {
    const { ringing, foremost } = tablet.calls;
    if (ringing) return keyed('ringing', ringingView(tablet, ringing));
    if (foremost?.isSpeaking) return page(tablet, 'announce');
    if (foremost) return keyed('talking', talkingView(tablet, foremost));
    if (tablet.session.lack) return page(tablet, 'signIn');
    const { place } = tablet.at;
    return place === 'home' ? keyed('home', homeView(tablet)) : page(tablet, place);
}

/** What is heard of all calls: a place of its own, so that no change of screens interrupts it. @param {Tablet} tablet */
const sounds = (tablet) =>
    repeat(
        tablet.calls.list.filter((call) => call.leg && !call.isOver),
        (call) => call,
        (call) => html`<audio autoplay .srcObject=${call.leg?.remote ?? null} .muted=${call.isSilenced} .volume=${tablet.settings.volume / 100}></audio>`,
    );

/** @param {Tablet} tablet */
function rest(tablet) {
    const minute = Math.floor(Date.now() / 60_000);
    return html`<button type="button" class="rest place-${minute % PLACES}" aria-label=${tablet.t('touchToWake')}>
        <span class="clock">${clockTime(tablet, Date.now())}</span>
        ${notices(tablet).length ? html`<span class="rest-warning">!</span>` : nothing}
    </button>`;
}
