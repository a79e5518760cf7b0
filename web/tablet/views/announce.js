// Speaking to many.
import { html } from '../../vendor/lit/lit.js';
import { endText } from './call.js';
import { button, choice, icon, isPress } from './parts.js';

/** @typedef {import('../tablet.js').Tablet} Tablet */

/** @param {Tablet} tablet */
export function announceView(tablet) {
    const { t } = tablet;
    const { foremost } = tablet.calls;
    // The announcement under way, or the one that has just ended.
    const call = foremost?.isSpeaking ? foremost : undefined;
    const { listeners, leftOut } = tablet.audienceNow();
    const isOn = !!call && !call.isOver;
    const partyOf = (/** @type {string} */ key, /** @type {string} */ name) =>
        call?.parties.get(key) ?? [...(call?.parties.values() ?? [])].find((party) => party.name === name);
    const rows = listeners.map((device) => ({ name: device.name, party: partyOf(device.user || device.key, device.name) }));
    const up = rows.filter((row) => row.party?.state === 'up').length;
    const start = (/** @type {Event} */ event) => {
        if (!isPress(event)) return;
        if (tablet.isLatched && isOn) tablet.endAnnouncement();
        else tablet.announce();
    };
    const stop = () => tablet.isLatched || tablet.endAnnouncement();
    const groups = tablet.home.groups.map((group) => /** @type {[string, string]} */ ([group.id, group.id === '0' ? t('everybody') : group.name]));
    const chooseGroup = (/** @type {string} */ id) => {
        tablet.audience = id;
        tablet.changed();
    };
    const latch = () => {
        tablet.isLatched = !tablet.isLatched;
        tablet.changed();
    };
    return html`<main class="page announcing ${isOn ? 'on' : ''}">
        <header class="page-head">
            <button type="button" class="button round" aria-label=${t('back')} ?disabled=${isOn} @click=${() => tablet.go('home')}>${icon('back')}</button>
            <h1>${t('announce')}</h1>
        </header>
        <fieldset ?disabled=${isOn}>${choice(t('chooseAudience'), tablet.audience, groups, chooseGroup)}</fieldset>
        <button type="button" class="talk" aria-pressed=${isOn ? 'true' : 'false'} @pointerdown=${start} @keydown=${start} @pointerup=${stop}
            @pointercancel=${stop} @pointerleave=${stop} @keyup=${stop} @blur=${stop} @contextmenu=${(/** @type {Event} */ event) => event.preventDefault()}>
            <svg class="ring" viewBox="0 0 100 100" aria-hidden="true">
                <circle class="ring-rest" cx="50" cy="50" r="46" />
                <circle class="ring-full" cx="50" cy="50" r="46" pathLength="100" stroke-dasharray="${rows.length ? (100 * up) / rows.length : 0} 100" />
            </svg>
            ${icon('announce')}
            <span>${t(!isOn ? 'holdToTalk' : up > 0 ? 'speakNow' : 'connecting')}</span>
        </button>
        <p class="hint" role="status">${call?.end ? endText(tablet, call, call.end) : t(tablet.isLatched ? 'announceLatchHint' : 'announceHint')}</p>
        ${button({ icon: 'lock', text: t('latch'), isOn: tablet.isLatched, isOff: isOn, style: 'latch', deed: latch })}
        <ul class="listeners" role="list">
            ${rows.map(({ name, party }) => listener(tablet, name, isOn ? (party?.state ?? 'called') : 'idle'))}
            ${leftOut.map((device) => html`<li class="off">${icon('moon')}<span>${device.name}</span><small>${t(device.dnd ? 'wantsNothing' : 'monitored')}</small></li>`)}
        </ul>
    </main>`;
}

/** @param {Tablet} tablet @param {string} name @param {'idle' | 'called' | 'ringing' | 'up' | 'down'} state */
function listener(tablet, name, state) {
    if (state === 'idle') return html`<li><span>${name}</span></li>`;
    if (state === 'up') return html`<li class="good">${icon('check')}<span>${name}</span><small>${tablet.t('heard')}</small></li>`;
    if (state === 'down') return html`<li class="bad">${icon('close')}<span>${name}</span><small>${tablet.t('noReaching', { name })}</small></li>`;
    return html`<li>${icon('bell')}<span>${name}</span><small>${tablet.t(state === 'ringing' ? 'rings' : 'waiting')}</small></li>`;
}
