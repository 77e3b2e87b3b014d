'use strict';

// Takes the pictures of the page that the documents show: node pictures.js FOLDER. A master on the bus makes it lively.

const path = require('node:path');
const { Browser, PHONE } = require('./browser.js');
const { Panel } = require('./panel.js');

const LIVELY_MS = 45000;
const SIZE = { width: 1160, height: 760 };

const PICTURES = [
    { file: 'values.png', view: 'Values', look: { size: SIZE, scheme: 'light' } },
    { file: 'traffic.png', view: 'Traffic', look: { size: SIZE, scheme: 'light' } },
    { file: 'network.png', view: 'Network', look: { size: SIZE, scheme: 'light' } },
    { file: 'objects.png', view: 'Objects', look: { size: SIZE, scheme: 'light' } },
    { file: 'timing.png', view: 'Timing', look: { size: SIZE, scheme: 'dark' } },
    { file: 'phone.png', view: 'Values', look: { size: { ...PHONE, height: 760 }, scheme: 'dark' } },
];

/** SYNCs, the heartbeat of another node, set points by PDO, and a master who reads and writes, sometimes wrongly. */
function enliven(bus) {
    let turn = 0;
    const send = (id, ...data) => bus.send({ id, data: Buffer.from(data) });
    const setPoint = (value) => [value & 0xFF, value >> 8];
    return setInterval(() => {
        ++turn;
        send(0x080);
        send(0x205, ...setPoint(600 + 100 * Math.round(2 * Math.sin(turn / 30))));
        if (turn % 4 === 0)
            send(0x707, 5);
        if (turn % 10 === 0)
            send(0x605, 0x40, 0x18, 0x10, 1, 0, 0, 0, 0);
        if (turn % 25 === 0)
            send(0x605, 0x2B, 0x00, 0x20, 2, ...setPoint(5000), 0, 0);
    }, 250);
}

async function take(browser, url, { file, view, look }, folder) {
    const page = await browser.open(url, { ...look, scale: 1 });
    await page.getByRole('button', { name: 'Plot Temperature' }).click();
    await page.getByRole('combobox', { name: 'Time shown' }).selectOption('60');
    await page.getByRole('tab', { name: view }).click();
    return { page, path: path.join(folder, file) };
}

async function main(folder) {
    const panel = await Panel.start('--can', 'virtual:can0', '--autostart');
    const bus = await panel.attach('can0');
    const life = enliven(bus);
    const browser = await Browser.start();
    const pages = await Promise.all(PICTURES.map((picture) => take(browser, panel.url, picture, folder)));
    await pages[0].page.waitForTimeout(LIVELY_MS);
    for (const { page, path: file } of pages) {
        await page.bringToFront();
        await page.waitForTimeout(1200);
        await page.screenshot({ path: file });
    }
    clearInterval(life);
    await browser.stop();
    await bus.close();
    await panel.stop();
}

main(process.argv[2]);
