// Somebody at the tablets of a whole home, beside the programs that a test runs: node house.mjs URL DEED. Each page's
// microphone sounds a tone of its own.
import { closeAll, launch, openTablet, touchTile, until, untilHeard, untilTrue } from './support.mjs';

const [url, deed] = process.argv.slice(2);
const browser = await launch();
const open = (name, tone) => openTablet(browser, { url }, name, { tone });
const says = (page, text) => page.getByText(text).first().waitFor();
const press = (page, name) => page.getByRole('button', { name, exact: true }).click();
const hears = async (page, hz) => {
    await untilTrue(page, () => window.tablet.calls.foremost?.state === 'up');
    await untilHeard(page, hz);
};
const isAtHome = (page) => page.locator('main.home').waitFor();
const isSeen = (page) => untilTrue(page, () => document.querySelector('.picture')?.videoWidth > 0);
const hold = async (page, name, milliseconds) => {
    await page.getByRole('button', { name }).hover();
    await page.mouse.down();
    await new Promise((done) => setTimeout(done, milliseconds));
};

const deeds = {
    async callEachOther() {
        const [kitchen, study] = await Promise.all([open('tablet-kitchen', 440), open('tablet-study', 880)]);
        await touchTile(kitchen, 'Study tablet', 'Call with picture');
        await press(study, 'With picture');
        await Promise.all([hears(kitchen, 880), hears(study, 440), isSeen(kitchen), isSeen(study)]);
        await press(kitchen, 'Hang up');
        await Promise.all([isAtHome(kitchen), isAtHome(study)]);
        await closeAll(kitchen, study);
    },
    async callThePhone() {
        const kitchen = await open('tablet-kitchen', 440);
        await touchTile(kitchen, 'Hall', 'Call');
        await hears(kitchen, 660);
        console.log('hears the phone');
        await isAtHome(kitchen); // the phone hangs up
        await closeAll(kitchen);
    },
    async openTheDoor() {
        const [kitchen, study] = await Promise.all([open('tablet-kitchen', 440), open('tablet-study', 880)]);
        await says(study, 'Somebody is at the door');
        await press(kitchen, 'Answer');
        await says(study, 'Answered somewhere else');
        await Promise.all([hears(kitchen, 1000), isSeen(kitchen)]);
        await hold(kitchen, /Open the door/, 700);
        await kitchen.mouse.up();
        await says(kitchen, 'Front door: asked to open');
        console.log('opened the door');
        await isAtHome(kitchen); // the door hangs up
        await closeAll(kitchen, study);
    },
    async announce() {
        const [kitchen, study] = await Promise.all([open('tablet-kitchen', 440), open('tablet-study', 880)]);
        await press(kitchen, 'Announce');
        await hold(kitchen, 'Hold to talk', 0);
        await hears(study, 440);
        await until(() => kitchen.locator('.listeners .good').count().then((listeners) => listeners >= 2));
        console.log('all hear it');
        await isAtHome(study); // the home's test ends it, when the phone has heard it
        await kitchen.mouse.up();
        await closeAll(kitchen, study);
    },
    async beListenedTo() {
        const study = await open('tablet-study', 880);
        const sign = study.locator('.live-row.watched');
        await sign.waitFor();
        await says(study, 'Hall is listening');
        console.log('the sign is there');
        await until(async () => (await sign.count()) === 0); // the phone hangs up
        await closeAll(study);
    },
    async disappear() {
        const kitchen = await open('tablet-kitchen', 440);
        await touchTile(kitchen, 'Hall', 'Call');
        await hears(kitchen, 660);
        await kitchen.close();
    },
    async surviveTheHost() {
        const kitchen = await open('tablet-kitchen', 440);
        await touchTile(kitchen, 'Hall', 'Call');
        await hears(kitchen, 660);
        console.log('talking');
        await untilTrue(kitchen, () => !window.tablet.isConnected);
        console.log('alone');
        await untilTrue(kitchen, () => window.tablet.isConnected);
        await hears(kitchen, 660);
        await press(kitchen, 'Hang up');
        await isAtHome(kitchen);
        await closeAll(kitchen);
    },
};

try {
    await deeds[deed]();
} finally {
    await browser.close();
}
