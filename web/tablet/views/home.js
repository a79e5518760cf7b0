// The tablet at rest: clock, devices and groups, announce, missed calls, do-not-disturb.
import { isYes } from '../../common/xml.js';
import { html, nothing, repeat } from '../../vendor/lit/lit.js';
import { button, callTime, clockTime, icon, longDate, namedIcon, notice } from './parts.js';

/** @typedef {import('../tablet.js').Tablet} Tablet */
/** @typedef {import('../home.js').Device} Device */
/** @typedef {import('../home.js').Group} Group */
/** @typedef {import('./parts.js').IconName} IconName */
/** @typedef {import('../texts.js').TextKey} TextKey */

/** What the drivers' numbers mean. @type {Record<string, [TextKey, IconName, string]>} */
const STATES = {
    1: ['callingState', 'outgoing', 'busy'],
    2: ['ringing', 'bell', 'busy'],
    3: ['inCall', 'accept', 'busy'],
    4: ['away', 'away', 'off'],
};

/** The word, icon and style of what a device is doing. @param {Device} device @returns {[TextKey, IconName, string]} */
export function stateOf(device) {
    const state = STATES[device.state];
    if (state) return state;
    if (device.dnd) return ['dnd', 'moon', 'off'];
    return device.monitorMode ? ['monitored', 'listen', 'busy'] : ['free', 'check', ''];
}

/** @param {Tablet} tablet */
export const homeView = (tablet) =>
    html`<main class="home">
        <header class="now">
            <p class="clock">${clockTime(tablet, Date.now())}</p>
            <p class="date">${longDate(tablet, Date.now())}</p>
            <h1>${tablet.identity?.attribute('home') || tablet.t('home')}</h1>
        </header>
        <section class="notices" aria-live="polite">${notices(tablet)}</section>
        ${tiles(tablet)}
        <div class="actions">
            ${missed(tablet)}
            ${button({ icon: 'announce', text: tablet.t('announce'), style: 'announce', deed: () => tablet.go('announce') })}
            <nav class="places" aria-label=${tablet.t('home')}>
                ${dndSwitch(tablet)}
                ${button({ icon: 'history', text: tablet.t('recents'), style: 'place', deed: () => tablet.go('recents') })}
                ${tablet.home.isExternal
                    ? button({ icon: 'book', text: tablet.t('contacts'), style: 'place', deed: () => tablet.go('contacts') })
                    : nothing}
                ${button({ icon: 'settings', text: tablet.t('settings'), style: 'place', deed: () => tablet.go('settings') })}
            </nav>
        </div>
    </main>`;

/** @param {Tablet} tablet */
function tiles(tablet) {
    const devices = tablet.home.devices.filter((device) => device.id !== tablet.deviceId && !device.excludeFromNav);
    const groups = tablet.home.groups.filter((group) => group.id !== '0' && group.members.length > 0);
    if (!tablet.home.isRead) return html`<p class="empty">${tablet.t('reading')}</p>`;
    if (!devices.length && !groups.length) return html`<p class="empty">${tablet.t('noDevices')}</p>`;
    return html`<ul class="tiles" role="list">
        ${repeat(devices, (device) => `device ${device.id}`, (device) => html`<li>${deviceTile(tablet, device)}</li>`)}
        ${repeat(groups, (group) => `group ${group.id}`, (group) => html`<li>${groupTile(tablet, group)}</li>`)}
    </ul>`;
}

/** @param {Tablet} tablet @param {Device} device */
function deviceTile(tablet, device) {
    const [state, stateIcon, style] = stateOf(device);
    return html`<button type="button" class="tile ${style}" @click=${() => tablet.go('device', device.id)}>
        <span class="tile-name">${device.name || device.key}</span>
        <span class="tile-icons">${icon(device.doorStation ? 'station' : 'panel')}${device.camera ? namedIcon('camera', tablet.t('withCamera')) : nothing}</span>
        <span class="tile-state">${icon(stateIcon)}<span>${tablet.t(state)}</span></span>
    </button>`;
}

/** @param {Tablet} tablet @param {Group} group */
const groupTile = (tablet, group) =>
    html`<button type="button" class="tile group" @click=${() => tablet.go('group', group.id)}>
        <span class="tile-name">${group.name}</span>
        <span class="tile-icons">${icon('group')}</span>
        <span class="tile-state"><span>${tablet.t('members', { count: group.members.length })}</span></span>
    </button>`;

/** @param {Tablet} tablet */
function missed(tablet) {
    const calls = tablet.settings.unseen(tablet.home.recents);
    if (!calls.length) return nothing;
    return html`<button type="button" class="missed" @click=${() => tablet.go('recents')}>
        ${icon('missed')}
        <span class="words">
            <span>${tablet.t('missedCalls', { count: calls.length })}</span>
            <small>${calls[0].name || calls[0].address}, ${callTime(tablet, calls[0].time)}</small>
        </span>
    </button>`;
}

/** @param {Tablet} tablet */
function dndSwitch(tablet) {
    const isOn = tablet.isSet('dnd');
    const until = tablet.settings.dndUntil;
    const when = !isOn ? 'dndOff' : until ? 'dndUntil' : 'dndOn';
    return html`<button type="button" role="switch" class="button place dnd" aria-checked=${isOn ? 'true' : 'false'}
        @click=${() => (isOn ? tablet.setDnd(false, 0) : tablet.go('settings', 'dnd'))}>
        ${icon('moon')}
        <span class="words"><span>${tablet.t('dnd')}</span><small>${tablet.t(when, { time: clockTime(tablet, until) })}</small></span>
    </button>`;
}

/** What is missing here, each with the way out. @param {Tablet} tablet */
export function notices(tablet) {
    const { t } = tablet;
    const lack = tablet.microphoneLack;
    const retry = { text: t('tryNow'), deed: () => tablet.events.start() };
    const allow = { text: t('allow'), deed: () => tablet.allowMicrophone() };
    const secure = { text: t('notSecureDo'), deed: () => location.assign(`https://${location.host}${location.pathname}`) };
    const touch = { text: t('soundNeedsTouchDo'), deed: () => tablet.unlockSound() };
    /** @type {[boolean, string, { text: string, deed: () => void }?][]} */
    const all = [
        [tablet.isUnknown, t('noSuchTablet', { name: tablet.name }), retry],
        [tablet.isAway && !tablet.isUnknown, t('noConnection'), retry],
        [tablet.isConnected && !tablet.callControl.isUp, t('noCallControl')],
        [lack === 'insecure', t('notSecure'), secure],
        [lack === 'prompt', t('useMicrophone'), allow],
        [lack === 'refused', t('microphoneRefused'), allow],
        [lack === 'missing', t('noMicrophone')],
        [lack === 'busy', t('microphoneBusy'), allow],
        [lack !== 'insecure' && !tablet.hasCamera && isYes(tablet.identity?.attribute('camera') ?? ''), t('noCamera')],
        [tablet.sounds.needsTouch, t('soundNeedsTouch'), touch],
    ];
    return all
        .filter(([isTrue]) => isTrue)
        .map(([, text, wayOut]) => notice(text, wayOut));
}
