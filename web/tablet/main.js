// The page /tablet/NAME: makes the tablet of that name and draws it whenever it changes.
import { tokenIn } from '../common/session.js';
import { render } from '../vendor/lit/lit.js';
import { Tablet } from './tablet.js';
import { appView, loadPages } from './views/app.js';

const root = /** @type {HTMLElement} */ (document.querySelector('#app'));
const name = decodeURIComponent(location.pathname.split('/').filter(Boolean)[1] ?? '');

let isDue = false;
/** Many changes in a row are drawn once. */
function draw() {
    if (isDue) return;
    isDue = true;
    queueMicrotask(() => {
        isDue = false;
        render(appView(tablet), root);
        if (tablet.home.isRead) loadPages(tablet);
    });
}

const tablet = new Tablet(name, draw);

/** The token that the page was opened with. It does not stay in the address, where others may see it. */
function takeToken() {
    if (!location.hash.includes('token=')) return '';
    const token = tokenIn(location.hash);
    history.replaceState(history.state, '', location.pathname + location.search);
    return token;
}

/** The touch that wakes the screen does nothing else; every touch lets the page sound. @param {Event} event */
function touched(event) {
    if (tablet.sounds.needsTouch) tablet.unlockSound().then(playAll);
    if (!tablet.screen.isResting) {
        tablet.screen.touch();
        return;
    }
    event.preventDefault();
    event.stopPropagation();
    // Woken by the end of the touch, so that none of it reaches what lies below.
    if (event.type !== 'pointerdown') tablet.screen.touch();
}

/** Browsers stop what would sound before the first touch. */
function playAll() {
    for (const element of document.querySelectorAll('audio')) element.play().catch((error) => tablet.report(error));
}

for (const type of ['pointerdown', 'click', 'keydown']) addEventListener(type, touched, { capture: true });
addEventListener('pagehide', () => tablet.leave());
// A page that comes back from the browser's cache has lost its stream.
addEventListener('pageshow', (event) => event.persisted && tablet.events.start());
addEventListener('online', () => tablet.events.start());
document.addEventListener('visibilitychange', () => tablet.screen.keepAwake());
addEventListener('keydown', (event) => {
    if (event.key === 'Escape' && !tablet.calls.list.length) tablet.go('home');
});

// Before anything that may take its time. An address that is opened here again leaves the page as it is.
const token = takeToken();
addEventListener('hashchange', () => {
    const another = takeToken();
    if (another) tablet.signIn(another);
});

document.title = name;
await tablet.applyLanguage();
tablet.screen.keepAwake();
tablet.start(token);

// For who looks for a fault in the browser's tools, and for the tests.
Object.assign(window, { tablet });
