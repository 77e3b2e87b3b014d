'use strict';

// The page of tavo-panel in a browser without a window: each element is found by its role and name, and used. All of it
// at the width of a desktop and of a phone, in light and in dark.

const assert = require('node:assert/strict');
const http = require('node:http');
const { once } = require('node:events');
const { after, before, describe, test } = require('node:test');
const { Browser, DESKTOP, PHONE } = require('./browser.js');
const { PATIENCE_MS, Panel } = require('./panel.js');

const NODE = 5;
const NMT_START = 1;
const NMT_STOP = 2;

let browser;
before(async () => {
    browser = await Browser.start();
});
after(() => browser.stop());

/** A panel, one more participant on its bus and the page in a browser, for the length of one test. */
async function open(t, { look, options = ['--autostart'], view = 'Values' } = {}) {
    // What came last goes first: a page would complain of a panel that has gone.
    const inReverse = [];
    t.after(async () => {
        for (const end of inReverse.reverse())
            await end();
    });
    const panel = await Panel.start(...options);
    inReverse.push(() => panel.stop());
    const bus = await panel.attach();
    inReverse.push(() => bus.close());
    const page = await browser.open(panel.url, look);
    inReverse.push(() => assert.deepEqual(page.complaints, [], 'messages in the console of the browser'));
    inReverse.push(() => page.context().close());
    await page.getByRole('tab', { name: view }).click();
    return { panel, bus, page };
}

/** Waits until something that is asked again and again is so. */
async function until(condition, what) {
    const deadline = Date.now() + PATIENCE_MS;
    while (!await condition()) {
        assert.ok(Date.now() < deadline, what);
        await new Promise((resolve) => {
            setTimeout(resolve, 50);
        });
    }
}

const card = (page, name) => page.getByRole('group', { name, exact: true });
const waitForValue = (page, name, value) => card(page, name).getByText(value, { exact: true }).first().waitFor();
const frames = (page) => page.getByRole('table', { name: 'Traffic' }).locator('tbody tr');

/** Reads an object of up to four bytes by SDO. */
async function upload(bus, index, subIndex) {
    const answered = new Promise((resolve) => {
        const take = ({ id, data }) => {
            if (id === 0x580 + NODE && data.readUInt16LE(1) === index && data[3] === subIndex) {
                bus.off('frame', take);
                resolve(data);
            }
        };
        bus.on('frame', take);
    });
    bus.send({ id: 0x600 + NODE, data: Buffer.from([0x40, index & 0xFF, index >> 8, subIndex, 0, 0, 0, 0]) });
    return (await answered).readUInt32LE(4);
}

const LOOKS = [
    { name: 'desktop, light', size: DESKTOP, scheme: 'light' },
    { name: 'desktop, dark', size: DESKTOP, scheme: 'dark' },
    { name: 'phone, light', size: PHONE, scheme: 'light' },
    { name: 'phone, dark', size: PHONE, scheme: 'dark' },
];

for (const look of LOOKS) {
    describe(look.name, { concurrency: 4 }, () => {
        test('a set point is changed: the value, its bar and the frame that follows', async (t) => {
            const { page } = await open(t, { look });
            await page.getByRole('textbox', { name: 'New value of Set Point' }).fill('1000');
            await page.getByRole('button', { name: 'Set Set Point' }).click();
            await waitForValue(page, 'Set Point', '1000');
            assert.equal(await page.getByRole('meter', { name: 'Set Point within its limits' }).getAttribute('aria-valuenow'), '1000');
            await page.getByRole('tab', { name: 'Traffic' }).click();
            await page.getByRole('searchbox', { name: 'Filter traffic' }).fill('TPDO Alarms=2');
            await frames(page).filter({ hasText: 'Alarms=2' }).first().waitFor();
        });

        test('an illegal value is refused, with the reason', async (t) => {
            const { page } = await open(t, { look });
            await page.getByRole('textbox', { name: 'New value of Set Point' }).fill('1201');
            await page.getByRole('button', { name: 'Set Set Point' }).click();
            await card(page, 'Set Point').getByRole('alert').filter({ hasText: 'abort code 0x06090030' }).waitFor();
            await waitForValue(page, 'Set Point', '600');
            await page.getByRole('textbox', { name: 'New value of Set Point' }).fill('fast');
            await page.getByRole('button', { name: 'Set Set Point' }).click();
            await card(page, 'Set Point').getByRole('alert').filter({ hasText: "'fast' is no whole number" }).waitFor();
            await page.getByRole('textbox', { name: 'New value of Set Point' }).fill('700');
            await page.getByRole('button', { name: 'Set Set Point' }).click();
            await waitForValue(page, 'Set Point', '700');
            assert.equal(await card(page, 'Set Point').getByRole('alert').count(), 0, 'the reason is gone');
        });

        test('a switch is turned, and the machine stops', async (t) => {
            const { page, bus } = await open(t, { look });
            const run = page.getByRole('switch', { name: 'Run' });
            await page.locator('[role="switch"][aria-checked="true"]').waitFor();
            await run.click();
            await page.locator('[role="switch"][aria-checked="false"]').waitFor();
            assert.equal(await upload(bus, 0x2000, 5) & 1, 0);
        });

        test('a text is changed, whatever is in it', async (t) => {
            const { page } = await open(t, { look });
            const text = '<b>Prüfstand</b> "7"';
            await page.getByRole('textbox', { name: 'New value of Device Text' }).fill(text);
            await page.getByRole('button', { name: 'Set Device Text' }).click();
            await waitForValue(page, 'Device Text', text);
        });

        test('chosen values are drawn', async (t) => {
            const { page } = await open(t, { look });
            await page.getByRole('button', { name: 'Plot Temperature' }).click();
            const picture = page.getByRole('img', { name: 'Run of Temperature' });
            await picture.waitFor();
            const isDrawn = () => picture.evaluate((canvas) =>
                canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height).data.some((byte) => byte > 0));
            await until(isDrawn, 'something is drawn');
            await page.getByRole('combobox', { name: 'Time shown' }).selectOption('60');
            await page.getByRole('button', { name: 'Plot Temperature' }).click();
            await picture.waitFor({ state: 'detached' });
        });

        test('the node is stopped and started by NMT: its state follows', async (t) => {
            const { page, bus } = await open(t, { look });
            const state = page.getByRole('status', { name: 'State of the node' });
            await state.filter({ hasText: /^OPERATIONAL$/ }).waitFor();
            bus.send({ id: 0, data: Buffer.from([NMT_STOP, NODE]) });
            await state.filter({ hasText: 'STOPPED' }).waitFor();
            bus.send({ id: 0, data: Buffer.from([NMT_START, NODE]) });
            await state.filter({ hasText: /^OPERATIONAL$/ }).waitFor();
        });

        test('another node is heard, with its state; the load of the bus is drawn', async (t) => {
            const { page, bus } = await open(t, { look, view: 'Network' });
            const beat = setInterval(() => bus.send({ id: 0x70A, data: Buffer.from([127]) }), 100);
            t.after(() => clearInterval(beat));
            const row = page.getByRole('row').filter({ hasText: /^10/ });
            await row.getByText('PRE-OPERATIONAL').waitFor();
            await page.getByRole('row').filter({ hasText: '5 (this node)' }).getByText('OPERATIONAL').waitFor();
            await page.getByRole('img', { name: /^Bus load in the last five minutes, now [0-9.]+ %/ }).waitFor();
            await page.getByText('Frames in', { exact: true }).waitFor();
        });

        test('objects are searched, read and changed', async (t) => {
            const { page, bus } = await open(t, { look, view: 'Objects' });
            const objects = page.getByRole('table', { name: 'Object dictionary' });
            await page.getByRole('searchbox', { name: 'Search objects' }).fill('0x1017');
            const row = objects.getByRole('row').filter({ hasText: '0x1017/0' });
            await row.getByText('1000').waitFor();
            assert.equal(await objects.locator('tbody tr').count(), 1);
            await row.getByRole('button', { name: /^Change/ }).click();
            await row.getByRole('textbox').fill('70000');
            await row.getByRole('button', { name: 'Set' }).click();
            await row.getByRole('alert').filter({ hasText: 'does not fit into UNSIGNED16' }).waitFor();
            await row.getByRole('textbox').fill('500');
            await row.getByRole('button', { name: 'Set' }).click();
            await row.getByText('500').waitFor();
            assert.equal(await upload(bus, 0x1017, 0) & 0xFFFF, 500);
            await page.getByRole('searchbox', { name: 'Search objects' }).fill('temperature');
            await objects.getByRole('row').filter({ hasText: '0x2000/1' }).getByText(/^-?\d+$/).waitFor();
        });

        test('traffic is decoded, filtered, held and cleared', async (t) => {
            const { page, bus } = await open(t, { look, view: 'Traffic' });
            // A master writes outside the limits.
            bus.send({ id: 0x605, data: Buffer.from([0x2B, 0x00, 0x20, 0x02, 0xFF, 0x7F, 0, 0]) });
            const filter = page.getByRole('searchbox', { name: 'Filter traffic' });
            await filter.fill('set point abort');
            const abort = frames(page).filter({ hasText: '0x2000/2 Set Point' });
            await abort.getByText(/0x06090030: .*value/i).waitFor();
            assert.equal(await frames(page).count(), 1);
            await filter.fill('-tpdo -heartbeat');
            await frames(page).filter({ hasText: 'initiate download = 32767' }).waitFor();
            assert.equal(await frames(page).filter({ hasText: 'TPDO' }).count(), 0);
            await filter.fill('');
            await frames(page).filter({ hasText: 'Temperature=' }).first().waitFor();
            await page.getByRole('button', { name: 'Pause' }).click();
            const held = await frames(page).first().textContent();
            bus.send({ id: 0x0A0, data: Buffer.from([1]) });
            await page.waitForTimeout(600);
            assert.equal(await frames(page).first().textContent(), held);
            await page.getByRole('button', { name: 'Clear' }).click();
            await page.getByText('No frame to show.').waitFor();
            await page.getByRole('button', { name: 'Go on' }).click();
            await frames(page).first().waitFor();
        });

        test('the timing of each PDO is drawn, with the times that bound it', async (t) => {
            const { page, bus } = await open(t, { look, view: 'Timing' });
            const tpdo = page.getByRole('group', { name: 'TPDO 1' });
            await tpdo.getByText('inhibit 100 ms').waitFor();
            await tpdo.getByText('event 1000 ms').waitFor();
            await until(async () => await tpdo.locator('circle').count() > 5, 'periods are drawn');
            await tpdo.getByText(/period/).waitFor();
            await tpdo.getByText(/jitter/).waitFor();
            const rpdo = page.getByRole('group', { name: 'RPDO 1' });
            await rpdo.getByText('no frames yet', { exact: true }).waitFor();
            assert.equal(await page.getByRole('img', { name: /^Periods of/ }).count(), 4);
            bus.send({ id: 0, data: Buffer.from([NMT_STOP, NODE]) });
            await rpdo.getByText('no frames yet: the node is STOPPED').waitFor();
        });

        test('the address says which view is shown', async (t) => {
            const { page } = await open(t, { look, view: 'Timing' });
            assert.equal(new URL(page.url()).hash, '#timing');
            await page.evaluate(() => {
                location.hash = '#network';
            });
            await page.getByRole('tab', { name: 'Network', selected: true }).waitFor();
            await page.getByRole('table', { name: 'Nodes' }).waitFor();
        });

        test('everything has a name, is in sight and can be read', async (t) => {
            const { page } = await open(t, { look });
            for (const view of ['Values', 'Network', 'Objects', 'Traffic', 'Timing']) {
                await page.getByRole('tab', { name: view }).click();
                await page.getByRole('tabpanel', { name: view }).waitFor();
                await page.waitForTimeout(300);
                assert.deepEqual(await page.evaluate(findNameless), [], `nameless in ${view}`);
                assert.deepEqual(await page.evaluate(findFaint), [], `hard to read in ${view}`);
                const { content, window } = await page.evaluate(() =>
                    ({ content: document.documentElement.scrollWidth, window: innerWidth }));
                assert.ok(content <= window, `${view} is ${content} wide in a window of ${window}`);
            }
        });

        test('the keyboard alone is enough', async (t) => {
            const { page } = await open(t, { look });
            await page.locator('body').press('Tab');
            const focused = () => page.evaluate(() => document.activeElement.getAttribute('aria-label') ?? document.activeElement.textContent);
            for (let i = 0; i < 40 && await focused() !== 'New value of Set Point'; ++i)
                await page.keyboard.press('Tab');
            assert.equal(await focused(), 'New value of Set Point');
            await page.keyboard.type('900');
            await page.keyboard.press('Enter');
            await waitForValue(page, 'Set Point', '900');
            for (let i = 0; i < 40 && await focused() !== 'Run'; ++i)
                await page.keyboard.press('Tab');
            await page.keyboard.press('Space');
            await page.locator('[role="switch"][aria-checked="false"]').waitFor();
            await page.getByRole('tab', { name: 'Values' }).focus();
            await page.keyboard.press('ArrowRight');
            await page.keyboard.press('ArrowRight');
            await page.getByRole('tabpanel', { name: 'Objects' }).waitFor();
            await page.keyboard.press('Tab');
            await page.keyboard.type('0x1017');
            for (let i = 0; i < 5 && !(await focused()).startsWith('Change'); ++i)
                await page.keyboard.press('Tab');
            await page.keyboard.press('Enter');
            await page.keyboard.press('Escape');
            assert.match(await focused(), /^Change/, 'focus is back where it was');
            await page.getByRole('tab', { name: 'Objects' }).focus();
            await page.keyboard.press('End');
            await page.getByRole('tabpanel', { name: 'Timing' }).waitFor();
        });
    });
}

/** In the browser: what a person uses and has no name. */
function findNameless() {
    return [...document.querySelectorAll('button, input, select, canvas[role], svg[role], [role="meter"]')]
        .filter((element) => element.checkVisibility() && !(element.getAttribute('aria-label') || element.textContent.trim()))
        .map((element) => element.outerHTML.slice(0, 80));
}

/** In the browser: texts whose contrast with what is behind them is below 4.5 to 1. */
function findFaint() {
    const parse = (color) => {
        const [r, g, b, a = 1] = color.match(/[\d.]+/g).map(Number);
        return { rgb: [r, g, b], a };
    };
    const luminance = (rgb) => {
        const [r, g, b] = rgb.map((one) => one / 255).map((one) => (one <= 0.03928 ? one / 12.92 : ((one + 0.055) / 1.055) ** 2.4));
        return 0.2126 * r + 0.7152 * g + 0.0722 * b;
    };
    const groundOf = (element) => {
        for (let at = element; at !== null; at = at.parentElement) {
            const { rgb, a } = parse(getComputedStyle(at).backgroundColor);
            if (a === 1)
                return rgb;
        }
        return [255, 255, 255];
    };
    const hasText = (element) => [...element.childNodes].some((node) => node.nodeType === Node.TEXT_NODE && node.textContent.trim() !== '');
    return [...document.querySelectorAll('main *, header *, nav *')]
        .filter((element) => element.checkVisibility() && hasText(element) && !element.closest('svg'))
        .filter((element) => {
            const [high, low] = [luminance(parse(getComputedStyle(element).color).rgb), luminance(groundOf(element))].sort((a, b) => b - a);
            return (high + 0.05) / (low + 0.05) < 4.5;
        })
        .map((element) => `${element.tagName} '${element.textContent.slice(0, 30)}' ${getComputedStyle(element).color} on ${groundOf(element)}`);
}

describe('the server', { concurrency: 4 }, () => {
    test('frames are observed only while a page is open', async (t) => {
        const { page, bus, panel } = await open(t, { view: 'Network' });
        const framesIn = async (on) => Number(await on.locator('#port div').filter({ hasText: 'Frames in' }).locator('dd').textContent());
        const sendForeign = (count) => {
            for (let i = 0; i < count; ++i)
                bus.send({ id: 0x123, data: Buffer.from([i & 0xFF]) });
        };
        await page.locator('#port dd').first().waitFor();
        const first = await framesIn(page);
        sendForeign(50);
        await until(async () => await framesIn(page) >= first + 50, 'the page sees frames that are for nobody');
        await page.goto('about:blank');
        await page.waitForTimeout(2500);
        sendForeign(500);
        await page.waitForTimeout(500);
        await page.goto(`${panel.url}#network`);
        await page.locator('#port dd').first().waitFor();
        assert.ok(await framesIn(page) < first + 150, 'nobody took them in');
    });

    test('a page of another site can neither read nor write', async (t) => {
        const { panel } = await open(t);
        const other = http.createServer((_, answer) => answer.setHeader('Content-Type', 'text/html').end('<title>other</title>'));
        other.listen(0, '127.0.0.1');
        await once(other, 'listening');
        t.after(() => other.close());
        const context = await browser.program.newContext();
        t.after(() => context.close());
        const page = await context.newPage();
        await page.goto(`http://127.0.0.1:${other.address().port}/`);
        const read = await page.evaluate((url) => fetch(url).then((answer) => answer.text(), () => 'refused'), `${panel.url}api/panel`);
        assert.equal(read, 'refused');
        const written = await page.evaluate((url) => fetch(url, { method: 'PUT', body: '1000' }).then((answer) => answer.status, () => 'refused'),
            `${panel.url}api/objects/200002`);
        assert.equal(written, 'refused');
    });

    test('a panel that has gone is told, and one that comes is shown', async (t) => {
        const panel = await Panel.start();
        const page = await browser.open(panel.url);
        t.after(() => page.context().close());
        await panel.stop();
        await page.getByText('not connected, trying again').waitFor();
        const { port } = new URL(panel.url);
        const next = await Panel.start('--http', `127.0.0.1:${port}`);
        t.after(() => next.stop());
        await page.getByText('live', { exact: true }).waitFor();
    });

    test('many pages at a time: those who find no room are told so', async (t) => {
        const { panel } = await open(t);
        const streams = [];
        t.after(() => streams.forEach((stream) => stream.destroy()));
        const statuses = await Promise.all(Array.from({ length: 9 }, async () => {
            const request = http.get(`${panel.url}events`);
            const [answer] = await once(request, 'response');
            streams.push(answer.socket);
            return answer.statusCode;
        }));
        assert.equal(statuses.filter((status) => status === 503).length, 2);
    });
});
