// Signing in and out.
import { html, nothing } from '../../vendor/lit/lit.js';
import { tokenIn } from '../../common/session.js';
import { button, icon } from './parts.js';

/** @typedef {import('../tablet.js').Tablet} Tablet */
/** @typedef {import('../../common/commands.js').CommandError} CommandError */

/** What somebody sees whom the home does not know. @param {Tablet} tablet */
export function signInView(tablet) {
    const { t, session } = tablet;
    /** @param {SubmitEvent} event */
    const submit = async (event) => {
        event.preventDefault();
        const field = /** @type {HTMLInputElement} */ (/** @type {HTMLFormElement} */ (event.target).elements.namedItem('token'));
        const token = tokenIn(field.value);
        if (token) await tablet.signIn(token);
        if (!session.error) field.value = '';
    };
    return html`<main class="page sign-in">
        <h1>${t(session.lack === 'forbidden' ? 'signedInOtherwise' : 'notSignedIn', { name: tablet.name })}</h1>
        <p>${t('signInHow')}</p>
        <form class="card" @submit=${submit}>
            <label for="token">${t('token')}</label>
            <input id="token" name="token" type="password" autocomplete="off" spellcheck="false" aria-describedby="sign-in-error" required />
            <p id="sign-in-error" class="fault" role="alert">${session.error ? [icon('warning'), faultText(tablet, session.error)] : nothing}</p>
            <button type="submit" class="button main" ?disabled=${session.isBusy}>${icon('lock')}<span>${t(session.isBusy ? 'signingIn' : 'signIn')}</span></button>
        </form>
        <p class="hint">${t('signInWhere')}</p>
    </main>`;
}

/** @param {Tablet} tablet @param {CommandError} error */
function faultText({ t }, error) {
    if (error.trouble === 'unauthorized') return t('tokenUnknown');
    if (error.trouble === 'tooMany') return t('tooMany', { count: error.wait || 60 });
    if (error.trouble === 'unreachable') return t('homeUnreachable');
    return t('notDone', { reason: error.message });
}

/** As whom this browser is signed in, and the way out. @param {Tablet} tablet */
export function sessionCard(tablet) {
    const { t, session } = tablet;
    if (!session.role) return nothing;
    if (session.isOpen) return html`<section class="card"><h2>${t('session')}</h2><p>${t('sessionOpen')}</p></section>`;
    const isSure = tablet.at.id === 'sign-out';
    const others = session.tablets.filter((name) => name !== tablet.name);
    const ask = () => (isSure ? tablet.signOut() : tablet.go('settings', 'sign-out'));
    const names = session.tablets.map((name) => (name === tablet.name && tablet.identity?.attribute('name')) || name);
    const who = session.role === 'admin' ? t('roleAdmin') : session.role === 'household' ? t('roleHousehold') : names.join(', ');
    return html`<section class="card">
        <h2>${t('session')}</h2>
        <p class="state-line">${icon('lock')}${t('signedInAs', { who })}</p>
        <p>${t('signOutMeans')} ${others.length ? t('signOutAlso', { names: others.join(', ') }) : nothing}</p>
        ${button({ icon: 'away', text: t(isSure ? 'signOutSure' : 'signOut'), style: isSure ? 'danger' : 'quiet', deed: ask })}
    </section>`;
}
