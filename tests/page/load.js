'use strict';

// How late the node's cycle is under load, without a page and with one open: node load.js [SECONDS]
//
// A master writes 50 objects of the node ten times a second by SDO, which with the answers are 1000 frames a second;
// 1000 others go by. The node's heartbeat is due every 100 ms: how far each is from that is told by its own trace.

const fs = require('node:fs');
const path = require('node:path');
const { Browser } = require('./browser.js');
const { Panel } = require('./panel.js');

const VALUES = 50;
const ROUNDS_A_SECOND = 10;
const OTHERS_A_SECOND = 1000;
const HEARTBEAT_MS = 100;
const TICK_MS = 10;
const FIRST_INDEX = 0x2100;

/** An EDS with as many values as are to be moved. */
function writeEds(file) {
    const lines = ['[ManufacturerObjects]', `SupportedObjects=${VALUES}`];
    const sections = [];
    for (let i = 0; i < VALUES; ++i) {
        const index = (FIRST_INDEX + i).toString(16).toUpperCase();
        lines.push(`${i + 1}=0x${index}`);
        sections.push(`[${index}]`, `ParameterName=Value ${i + 1}`, 'ObjectType=0x7', 'DataType=0x6', 'AccessType=rw', 'DefaultValue=0', '');
    }
    fs.writeFileSync(file, [...lines, '', ...sections].join('\n'));
}

/** Sends frames at the rates above. @return what stops it, and how many there were */
function makeLoad(bus) {
    const load = { writes: 0, others: 0, answers: 0 };
    bus.on('frame', ({ id }) => {
        load.answers += id === 0x585 ? 1 : 0;
    });
    const began = Date.now();
    const timer = setInterval(() => {
        const passed = (Date.now() - began) / 1000;
        while (load.writes < passed * VALUES * ROUNDS_A_SECOND) {
            const index = FIRST_INDEX + load.writes % VALUES;
            const value = Math.floor(load.writes / VALUES) & 0xFFFF;
            bus.send({ id: 0x605, data: Buffer.from([0x2B, index & 0xFF, index >> 8, 0, value & 0xFF, value >> 8, 0, 0]) });
            ++load.writes;
        }
        while (load.others < passed * OTHERS_A_SECOND) {
            bus.send({ id: 0x181 + load.others % 4, data: Buffer.from([load.others & 0xFF, 0, 0, 0, 0, 0, 0, 0]) });
            ++load.others;
        }
    }, TICK_MS);
    load.stop = () => {
        clearInterval(timer);
        load.rate = (load.writes + load.others + load.answers) / ((Date.now() - began) / 1000);
    };
    return load;
}

/** How far each heartbeat is from where the one before it and its period put it, in ms. */
function readLateness(trace) {
    const times = fs.readFileSync(trace, 'ascii').split('\n').map((line) => /^\((\d+\.\d+)\) \S+ 705#/.exec(line))
        .filter((found) => found !== null).map((found) => Number(found[1]) * 1000);
    const late = times.slice(1).map((time, i) => Math.abs(time - times[i] - HEARTBEAT_MS)).sort((a, b) => a - b);
    const share = (part) => late[Math.min(late.length - 1, Math.floor(late.length * part))];
    return { heartbeats: times.length, median: share(0.5), p95: share(0.95), p99: share(0.99), most: late[late.length - 1] };
}

async function measure(seconds, browser) {
    const folder = fs.mkdtempSync('/tmp/tavo-load-');
    const eds = path.join(folder, 'values.eds');
    const trace = path.join(folder, 'trace.log');
    writeEds(eds);
    const panel = await Panel.start('--app', eds, '--trace', trace, '--heartbeat', String(HEARTBEAT_MS));
    const bus = await panel.attach();
    const page = browser === null ? null : await browser.open(panel.url);
    await page?.getByRole('tab', { name: 'Traffic' }).click();
    const load = makeLoad(bus);
    await new Promise((resolve) => {
        setTimeout(resolve, seconds * 1000);
    });
    load.stop();
    const shown = page === null ? '' : await page.locator('#traffic-count').textContent();
    await page?.context().close();
    await bus.close();
    await panel.stop();
    const result = { ...readLateness(trace), rate: load.rate, unanswered: load.writes - load.answers, shown };
    fs.rmSync(folder, { recursive: true });
    return result;
}

async function main(seconds) {
    const browser = await Browser.start();
    for (const [name, used] of [['no page', null], ['a page open', browser]]) {
        const { heartbeats, median, p95, p99, most, rate, unanswered, shown } = await measure(seconds, used);
        console.log(`${name}: ${rate.toFixed(0)} frames/s, ${unanswered} requests without an answer; ${heartbeats} heartbeats of ` +
            `${HEARTBEAT_MS} ms are off by ${median.toFixed(2)} ms (median), ${p95.toFixed(2)} ms (95 of 100), ${p99.toFixed(2)} ms (99 of 100), ${most.toFixed(2)} ms (most)` +
            (shown === '' ? '' : `; ${shown}`));
    }
    await browser.stop();
}

main(Number(process.argv[2] ?? 30));
