// The screens of calls: somebody rings, talking; and what is shown over everything.
import { html, keyed, nothing, ref } from '../../vendor/lit/lit.js';
import { isHeard, isSeen } from '../calls.js';
import { sends } from '../media.js';
import { button, deviceButtons, duration, icon, keypad, notice, volume } from './parts.js';

/** @typedef {import('../tablet.js').Tablet} Tablet */
/** @typedef {import('../calls.js').Call} Call */
/** @typedef {import('../calls.js').End} End */
/** @typedef {import('../texts.js').TextKey} TextKey */

/** How far an arrow key moves the own picture. */
const STEP_PX = 16;

/** Whoever uses keys is where the most important button is. @param {Element | undefined} element */
const focused = (element) => queueMicrotask(() => /** @type {HTMLElement | undefined} */ (element)?.focus());

/** @param {Tablet} tablet @param {Call} call */
const nameOf = (tablet, call) => call.name || call.from || tablet.t('unknownCaller');

/** @param {Tablet} tablet @param {Call} call */
const stationOf = (tablet, call) => (call.kind === 'regular' ? tablet.home.findDevice(call.from || call.name, call.name) : undefined);

/** @param {Tablet} tablet @param {Call} call */
export function ringingView(tablet, call) {
    const { t } = tablet;
    const device = stationOf(tablet, call);
    const others = [...call.parties.values()].filter((party) => party.state === 'ringing' && party.user !== tablet.identity?.attribute('key'));
    const hasPicture = sends(call.video) && tablet.hasCamera;
    return html`<main class="call ringing">
        <div class="pulse" aria-hidden="true"></div>
        ${tablet.isConnected && !tablet.callControl.isUp ? notice(t('noCallControl')) : nothing}
        <header aria-live="assertive">
            <p class="subject">${icon('bell')}${tablet.isDoor(call) ? t('atTheDoor') : t('incoming')}</p>
            <h1 class="who">${nameOf(tablet, call)}</h1>
        </header>
        <p class="also">${others.length ? t('alsoRings', { names: others.map((party) => party.name).join(', ') }) : nothing}</p>
        <div class="doors">${device?.doorStation ? deviceButtons(tablet, device) : nothing}</div>
        <div class="answers">
            ${button({ icon: 'hangUp', text: t('decline'), style: 'big no', deed: () => tablet.hangUp(call) })}
            ${keyed(call, html`<button type="button" class="button big yes" ${ref(focused)} @click=${() => tablet.answer(call, false)}>
                ${icon('accept')}<span>${t('answerSound')}</span></button>`)}
            ${button({ icon: 'camera', text: t('answerPicture'), style: 'big yes', isOff: !hasPicture, deed: () => tablet.answer(call, true) })}
        </div>
    </main>`;
}

/** @param {Tablet} tablet @param {Call} call */
export function talkingView(tablet, call) {
    const others = tablet.calls.list.filter((other) => other !== call && other.state === 'held');
    const hasPicture = call.quality.hasPicture && !call.isOver;
    return html`<main class="call talking ${hasPicture ? 'has-picture' : ''}">
        <div class="stage">
            ${keyed(call, html`<video class="picture" ?hidden=${!hasPicture} autoplay playsinline .muted=${true} .srcObject=${call.leg?.remote ?? null}
                aria-label=${tablet.t('pictureOf', { name: nameOf(tablet, call) })}></video>`)}
            ${hasPicture ? nothing : html`<p class="initial" aria-hidden="true">${[...nameOf(tablet, call)][0]}</p>`}
            ${ownPicture(tablet, call)}
        </div>
        <header>
            <h1 class="who">${nameOf(tablet, call)}</h1>
            <p class="progress" role="status">${progress(tablet, call)}</p>
        </header>
        <div class="troubles">${troubles(tablet, call)}</div>
        ${call.isOver ? farewell(tablet, call) : controls(tablet, call)}
        ${others.map((other) => button({ icon: 'resume', text: `${tablet.t('onHold')}: ${nameOf(tablet, other)}`, style: 'small', deed: () => tablet.swap(call, other) }))}
    </main>`;
}

/** @param {Tablet} tablet @param {Call} call */
function progress(tablet, call) {
    const { t } = tablet;
    const name = nameOf(tablet, call);
    if (call.end) return endText(tablet, call, call.end);
    if (call.state === 'held') return isOwn(tablet, call.heldBy) ? t('onHold') : t('heldByOther', { name });
    if (call.state !== 'up') {
        const ringing = [...call.parties.values()].filter((party) => party.state === 'ringing' && party.user !== tablet.identity?.attribute('key'));
        if (ringing.length) return t('ringsAt', { names: ringing.map((party) => party.name).join(', ') });
        return t(call.role === 'caller' ? 'calling' : 'connecting');
    }
    const quality = call.quality.isBad ? ` · ${t('badConnection')}` : '';
    const kind = call.kind === 'monitor' ? ` · ${t('monitoring', { name })}` : call.kind === 'broadcast' ? ` · ${t('announcement')}` : '';
    return `${duration(Date.now() - call.establishedAt)}${kind}${quality}`;
}

/** Whether it was this device or its user that has held the call. @param {Tablet} tablet @param {string} by */
const isOwn = (tablet, by) => by === 'command' || by === tablet.identity?.attribute('key');

/** What is wrong with the call, each with the way out where there is one. @param {Tablet} tablet @param {Call} call */
function troubles(tablet, call) {
    const { t } = tablet;
    const { leg } = call;
    if (call.isOver) return nothing;
    const isDeaf = leg?.lacks.some((lack) => lack.kind === 'audio');
    const retry = { text: t('tryNow'), deed: () => leg?.capture() };
    const isSet = tablet.isSet('answerWithVideo');
    const sendNext = { text: t('pictureOn'), deed: () => tablet.set('answerWithVideo', 'true') };
    return html`
        ${tablet.isConnected && !tablet.callControl.isUp ? notice(t('goesOnWithoutControl')) : nothing}
        ${tablet.isAway ? notice(t('goesOnAlone')) : nothing}
        ${leg?.lacks.length ? notice(t(isDeaf ? 'theyDoNotHear' : 'theyDoNotSee'), retry) : nothing}
        ${call.isUnseen ? notice(t(isSet ? 'seenNext' : 'notSeen'), isSet ? undefined : sendNext) : nothing}`;
}

/** What a call ended with, as somebody in the home would say it. @param {Tablet} tablet @param {Call} call @param {End} end */
export function endText(tablet, call, end) {
    const { t } = tablet;
    const name = nameOf(tablet, call);
    if (end.where !== undefined) return end.where ? t('answeredIn', { where: end.where }) : t('answeredElsewhere');
    if (end.by === 'callcontrol' && (end.code === 503 || call.establishedAt)) return t('endedByHome');
    if (call.establishedAt) return `${t('callEnded')} · ${duration(call.endedAt - call.establishedAt)}`;
    if (call.role === 'callee') return t('missedCall', { name });
    if (call.kind === 'monitor' && end.code === 403) return t('mayNotListen', { name });
    if (end.code === 486 && tablet.home.devices.some((device) => device.name === call.name && device.dnd)) return t('undisturbed', { name });
    /** @type {Record<number, TextKey>} */
    const reasons = { 404: 'nobodyNamed', 408: 'noAnswer', 480: 'noReaching', 486: 'busy', 487: 'noAnswer', 600: 'busy', 603: 'declined' };
    return t(reasons[end.code] ?? 'failed', { name });
}

/** @param {Tablet} tablet @param {Call} call */
function farewell(tablet, call) {
    const { end } = call;
    const isPlain = !end?.code || end.code === 200;
    return html`<div class="controls">
        ${isPlain ? nothing : html`<details><summary>${tablet.t('details')}</summary>${end.code} ${end.reason}</details>`}
        ${button({ icon: 'close', text: tablet.t('back'), style: 'big', deed: () => tablet.calls.forget(call) })}
    </div>`;
}

/** @param {Tablet} tablet @param {Call} call */
function controls(tablet, call) {
    const { t } = tablet;
    const { leg } = call;
    const isHeld = call.state === 'held';
    const device = stationOf(tablet, call);
    const canSee = leg && sends(call.video);
    return html`<div class="controls">
        <div class="doors">${device?.doorStation ? deviceButtons(tablet, device) : nothing}</div>
        ${call.hasKeypad ? keypad(tablet, call.digits, (digits) => tablet.typeDigits(call, digits)) : nothing}
        <div class="buttons">
            ${leg && sends(call.audio)
                ? button({ icon: leg.isMuted ? 'microphoneOff' : 'microphone', text: t(leg.isMuted ? 'muted' : 'mute'), isOn: leg.isMuted, style: 'tool', deed: () => leg.mute(!leg.isMuted) })
                : nothing}
            ${canSee
                ? button({ icon: leg.wantsCamera ? 'camera' : 'cameraOff', text: t('camera'), isOn: leg.wantsCamera, style: 'tool', isOff: !tablet.hasCamera, deed: () => leg.camera(!leg.wantsCamera) })
                : nothing}
            ${keyed(call, html`<button type="button" class="button big no" ${ref(focused)} @click=${() => tablet.hangUp(call)}>
                ${icon('hangUp')}<span>${t(call.kind === 'regular' ? 'hangUp' : 'end')}</span></button>`)}
            ${button({ icon: call.isSilenced ? 'soundOff' : 'sound', text: t(call.isSilenced ? 'speakerOff' : 'speaker'), isOn: call.isSilenced, style: 'tool', deed: () => tablet.silence(call) })}
            ${call.kind === 'regular' && (isHeld || call.state === 'up')
                ? button({ icon: isHeld ? 'resume' : 'hold', text: t(isHeld ? 'resume' : 'hold'), isOn: isHeld, style: 'tool', deed: () => tablet.calls.setHeld(call, !isHeld) })
                : nothing}
            ${call.kind === 'regular' && call.state === 'up'
                ? button({ icon: 'keypad', text: t('keypad'), isOn: call.hasKeypad, style: 'tool', deed: () => tablet.showKeypad(call) })
                : nothing}
        </div>
        ${volume(tablet)}
    </div>`;
}

/** @param {Tablet} tablet @param {Call} call */
function ownPicture(tablet, call) {
    const { t } = tablet;
    const own = call.leg?.own;
    if (!own || call.isOver) return nothing;
    const isHidden = tablet.settings.isOwnPictureHidden;
    const toggle = () => {
        tablet.settings.isOwnPictureHidden = !isHidden;
        tablet.changed();
    };
    return html`<div class="own" tabindex="0" role="group" aria-label=${t('ownPicture')} @pointerdown=${drag} @keydown=${nudge}>
        ${isHidden ? nothing : html`<video autoplay playsinline .muted=${true} .srcObject=${own}></video>`}
        <button type="button" class="button round" aria-label=${t(isHidden ? 'showPicture' : 'hidePicture')} @click=${toggle}>${icon(isHidden ? 'eye' : 'eyeOff')}</button>
    </div>`;
}

/** Moves an element within its parent. @param {HTMLElement} element @param {number} x @param {number} y */
function moveBy(element, x, y) {
    const parent = element.offsetParent;
    if (!parent) return;
    const left = Math.max(0, Math.min(element.offsetLeft + x, parent.clientWidth - element.offsetWidth));
    const top = Math.max(0, Math.min(element.offsetTop + y, parent.clientHeight - element.offsetHeight));
    Object.assign(element.style, { left: `${left}px`, top: `${top}px`, right: 'auto', bottom: 'auto' });
}

/** @param {PointerEvent} event */
function drag(event) {
    const element = /** @type {HTMLElement} */ (event.currentTarget);
    if (event.target instanceof Element && event.target.closest('button')) return;
    element.setPointerCapture(event.pointerId);
    const move = (/** @type {PointerEvent} */ next) => moveBy(element, next.movementX, next.movementY);
    element.addEventListener('pointermove', move);
    element.addEventListener('lostpointercapture', () => element.removeEventListener('pointermove', move), { once: true });
}

/** @param {KeyboardEvent} event */
function nudge(event) {
    const way = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] }[event.key];
    if (!way) return;
    event.preventDefault();
    moveBy(/** @type {HTMLElement} */ (event.currentTarget), way[0] * STEP_PX, way[1] * STEP_PX);
}

/**
 * What nobody can hide: that microphone or camera are live, and who listens. @param {Tablet} tablet
 */
export function liveBar(tablet) {
    const { t } = tablet;
    const watched = tablet.calls.list.filter((call) => call.isMonitored);
    const live = tablet.calls.list.filter((call) => !call.isMonitored && (isHeard(call) || isSeen(call)));
    return html`<aside class="live" aria-label=${t('microphone')} aria-live="assertive">
        ${watched.map((call) => html`<div class="live-row watched">
            <span class="dot" aria-hidden="true"></span>
            <span>${t(call.leg?.wantsCamera ? 'isWatching' : 'isListening', { name: nameOf(tablet, call) })}</span>
            <button type="button" class="button small" @click=${() => tablet.hangUp(call)}>${t('end')}</button>
        </div>`)}
        ${live.length
            ? html`<div class="live-row"><span class="dot" aria-hidden="true"></span>
                <span>${t(live.some(isSeen) ? 'micAndCameraLive' : 'micLive')}</span></div>`
            : nothing}
    </aside>`;
}
