// What lies behind the tiles and the bar: a device, a group, announcing, calls, contacts, settings; and signing in. None
// of it is needed at once, so it comes when the home is there.
import { html, nothing, repeat } from '../../vendor/lit/lit.js';
import { LANGUAGES } from '../../common/i18n.js';
import { announceView } from './announce.js';
import { stateOf } from './home.js';
import { button, callTime, choice, clockTime, deviceButtons, icon, iconButton, keypad, pageHead, volume } from './parts.js';
import { sessionCard, signInView } from './session.js';

/** @typedef {import('../tablet.js').Tablet} Tablet */
/** @typedef {import('../home.js').Recent} Recent */
/** @typedef {import('../home.js').Contact} Contact */
/** @typedef {import('../texts.js').TextKey} TextKey */

const HOUR_MS = 3_600_000;
const MORNING_HOUR = 7;
const LANGUAGE_NAMES = { en: 'English', de: 'Deutsch' };

/** @param {Tablet} tablet */
function deviceView(tablet) {
    const device = tablet.home.device(tablet.at.id);
    if (!device) return html`<main class="page">${pageHead(tablet, tablet.t('away'))}<p class="empty">${tablet.t('noDevices')}</p></main>`;
    const [state, stateIcon] = stateOf(device);
    const { t } = tablet;
    const isPrivate = tablet.private.has(device.id);
    return html`<main class="page">
        ${pageHead(tablet, device.name || device.key)}
        <p class="state-line">${icon(stateIcon)}${t(state)}</p>
        <div class="deeds">
            ${button({ icon: 'accept', text: t('call'), style: 'main', deed: () => tablet.call(device, 'sound') })}
            ${button({ icon: 'camera', text: t('callPicture'), isOff: !tablet.canSend, deed: () => tablet.call(device, 'picture') })}
            ${ownPictureHint(tablet)}
            ${isPrivate ? nothing : button({ icon: 'listen', text: t('listen'), deed: () => tablet.monitor(device) })}
            ${deviceButtons(tablet, device)}
        </div>
        <p class="hint">${icon(isPrivate ? 'eyeOff' : 'eye')}${isPrivate ? t('mayNotListen', { name: device.name }) : t('listenHint')}</p>
    </main>`;
}

/** Whether others will see this tablet when it calls with picture. @param {Tablet} tablet */
function ownPictureHint(tablet) {
    const { t } = tablet;
    if (!tablet.canSend) return html`<p class="hint">${icon('cameraOff')}${t('noCameraHere')}</p>`;
    if (tablet.isSet('answerWithVideo')) return nothing;
    return html`<div class="notice">${icon('cameraOff')}<p>${t('pictureOff')}</p>
        ${button({ icon: 'camera', text: t('pictureOn'), style: 'small', deed: () => tablet.set('answerWithVideo', 'true') })}</div>`;
}

/** @param {Tablet} tablet */
function groupView(tablet) {
    const group = tablet.home.groups.find((other) => other.id === tablet.at.id);
    if (!group) return html`<main class="page">${pageHead(tablet, tablet.t('group'))}</main>`;
    const members = tablet.home.devices.filter((device) => group.members.includes(device.id));
    const announce = () => {
        tablet.audience = group.id;
        tablet.go('announce');
    };
    return html`<main class="page">
        ${pageHead(tablet, group.name)}
        <p class="state-line">${icon('group')}${members.map((device) => device.name).join(', ')}</p>
        <div class="deeds">
            ${button({ icon: 'accept', text: tablet.t('callFirst'), style: 'main', deed: () => tablet.callGroup(group) })}
            ${button({ icon: 'announce', text: tablet.t('announce'), deed: announce })}
        </div>
    </main>`;
}

/** @param {Tablet} tablet */
function recentsView(tablet) {
    const { recents } = tablet.home;
    const isSure = tablet.at.id === 'sure';
    const clear = () => {
        if (isSure) tablet.forgetRecents();
        tablet.at.id = isSure ? '' : 'sure';
        tablet.changed();
    };
    return html`<main class="page">
        ${pageHead(tablet, tablet.t('recents'))}
        ${recents.length
            ? html`<ul class="rows" role="list">${repeat(recents, (recent) => recent.id, (recent) => html`<li>${recentRow(tablet, recent)}</li>`)}</ul>
                ${button({ icon: 'trash', text: tablet.t(isSure ? 'clearSure' : 'clearAll'), style: isSure ? 'danger' : 'quiet', deed: clear })}`
            : html`<p class="empty">${tablet.t('recentsEmpty')}</p>`}
    </main>`;
}

/** @param {Tablet} tablet @param {Recent} recent */
function recentRow(tablet, recent) {
    const isMissed = recent.received && !recent.accepted;
    const name = recent.name || recent.address || tablet.t('unknownCaller');
    const device = tablet.home.findDevice(recent.address, recent.name);
    const call = () => (device ? tablet.call(device, 'sound') : tablet.dial(recent.address, name));
    const seconds = Number(recent.length);
    const length = Number.isNaN(seconds) || !recent.length ? recent.length : `${Math.floor(seconds / 60)}:${String(Math.floor(seconds % 60)).padStart(2, '0')}`;
    return html`<div class="row ${isMissed ? 'is-missed' : ''}">
        ${icon(isMissed ? 'missed' : recent.received ? 'incoming' : 'outgoing')}
        <span class="words"><span>${name}</span><small>${isMissed ? `${tablet.t('missed')} · ` : ''}${callTime(tablet, recent.time)}${isMissed ? '' : ` · ${length}`}</small></span>
        ${device || tablet.home.isExternal ? iconButton('accept', `${tablet.t('call')}: ${name}`, call) : nothing}
        ${iconButton('trash', `${tablet.t('remove')}: ${name}`, () => tablet.forgetRecent(recent.id))}
    </div>`;
}

/** @param {Tablet} tablet */
function contactsView(tablet) {
    const { contacts } = tablet.home;
    const fast = contacts.flatMap((contact) => contact.phones.filter((phone) => phone.speedDial).map((phone) => ({ contact, phone })));
    return html`<main class="page wide">
        ${pageHead(tablet, tablet.t('contacts'))}
        ${fast.length
            ? html`<h2>${tablet.t('speedDial')}</h2>
                <div class="chips">${fast.map(({ contact, phone }) =>
                    button({ icon: 'accept', text: contact.name, style: 'chip', deed: () => tablet.dial(phone.number, contact.name) }))}</div>`
            : nothing}
        <div class="columns">
            <section>
                <h2>${tablet.t('contacts')}</h2>
                ${contacts.length
                    ? html`<ul class="rows" role="list">${repeat(contacts, (contact) => contact.id, (contact) => html`<li>${contactRow(tablet, contact)}</li>`)}</ul>`
                    : html`<p class="empty">${tablet.t('contactsEmpty')}</p>`}
            </section>
            <section>
                <h2>${tablet.t('add')}</h2>
                ${keypad(tablet, tablet.number, (number) => tablet.type(number))}
                ${button({ icon: 'accept', text: tablet.t('dial'), style: 'main', isOff: !tablet.number, deed: () => tablet.dial(tablet.number, '') })}
            </section>
        </div>
    </main>`;
}

/** @param {Tablet} tablet @param {Contact} contact */
const contactRow = (tablet, contact) => html`<div class="row">
    <span class="words"><span>${contact.name}</span></span>
    ${contact.phones.map((phone) =>
        button({ icon: 'accept', text: `${phone.kind} ${phone.number}`, style: 'small', deed: () => tablet.dial(phone.number, contact.name) }))}
</div>`;

/** @param {Tablet} tablet */
const settingsView = (tablet) => html`<main class="page">
    ${pageHead(tablet, tablet.t('settings'))}
    ${dndChoice(tablet)}
    <section class="card">
        ${['ringDoorbell', 'autoAnswer', 'answerWithVideo', 'monitorMode'].map((name) => settingSwitch(tablet, name))}
        ${volume(tablet)}
    </section>
    <section class="card">
        ${choice(tablet.t('language'), tablet.settings.language,
            [['', tablet.t('languageAuto')], ...LANGUAGES.map((language) => /** @type {[typeof language, string]} */ ([language, LANGUAGE_NAMES[language]]))],
            (language) => tablet.setLanguage(language))}
        ${choice(tablet.t('looks'), tablet.settings.theme,
            [['', tablet.t('looksAuto')], ['light', tablet.t('light')], ['dark', tablet.t('dark')]],
            (theme) => tablet.setTheme(theme))}
    </section>
    ${status(tablet)}
    ${sessionCard(tablet)}
</main>`;

/** @param {Tablet} tablet */
function dndChoice(tablet) {
    const isOn = tablet.isSet('dnd');
    const until = tablet.settings.dndUntil;
    const morning = new Date();
    morning.setHours(MORNING_HOUR, 0, 0, 0);
    if (morning.getTime() <= Date.now()) morning.setDate(morning.getDate() + 1);
    /** @param {TextKey} text @param {number} end */
    const way = (text, end) => button({ icon: 'moon', text: tablet.t(text), deed: () => tablet.setDnd(true, end) });
    return html`<section class="card">
        <h2>${tablet.t('dnd')}</h2>
        <p class="state-line">${icon(isOn ? 'moon' : 'bell')}${!isOn
            ? tablet.t('dndOff')
            : until
              ? tablet.t('dndUntil', { time: clockTime(tablet, until) })
              : tablet.t('dndOn')}</p>
        <div class="chips">${isOn
            ? button({ icon: 'bell', text: tablet.t('dndOffDo'), deed: () => tablet.setDnd(false, 0) })
            : [way('dndHour', Date.now() + HOUR_MS), way('dndMorning', morning.getTime()), way('dndForever', 0)]}</div>
    </section>`;
}

/** @param {Tablet} tablet @param {string} name */
function settingSwitch(tablet, name) {
    const isOn = tablet.isSet(name);
    return html`<button type="button" role="switch" class="switch" aria-checked=${isOn ? 'true' : 'false'} @click=${() => tablet.set(name, String(!isOn))}>
        <span>${tablet.t(/** @type {TextKey} */ (`set_${name}`))}</span>
        <span class="switch-state" aria-hidden="true">${tablet.t(isOn ? 'on' : 'off')}<span class="knob"></span></span>
    </button>`;
}

/** What this tablet has. @param {Tablet} tablet */
function status(tablet) {
    const { t } = tablet;
    /** @type {[TextKey, boolean][]} */
    const rows = [
        ['statusConnection', tablet.isConnected && tablet.callControl.isUp],
        ['statusMicrophone', tablet.microphoneLack === null],
        ['statusCamera', tablet.hasCamera],
        ['statusSound', !tablet.sounds.needsTouch],
        ['statusAwake', tablet.screen.isKeptAwake],
    ];
    return html`<section class="card">
        <h2>${t('status')}</h2>
        <ul class="status" role="list">${rows.map(([text, isGood]) => html`<li class=${isGood ? 'good' : 'bad'}>
            ${icon(isGood ? 'check' : 'close')}<span>${t(text)}</span><span>${t(isGood ? 'ready' : 'off')}</span>
        </li>`)}</ul>
    </section>`;
}

export const views = {
    device: deviceView,
    group: groupView,
    announce: announceView,
    recents: recentsView,
    contacts: contactsView,
    settings: settingsView,
    signIn: signInView,
};
