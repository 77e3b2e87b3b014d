'use strict';

/*
 * The whole object dictionary of a running program, against the table in dictionary.json.
 *
 * | covered                                                                   | kind       |
 * |---------------------------------------------------------------------------|------------|
 * | every sub-index: value and size                                           | functional |
 * | every sub-index: writes that are taken, and what it holds then            | functional |
 * | every sub-index: writes that are refused, with their codes; other sizes   | robustness |
 * | nothing else changes; everything is as it was at the end                  | robustness |
 * | indexes that are not there; sub-indexes beside those that are             | robustness |
 */

const assert = require('node:assert/strict');
const { test } = require('node:test');
const { readTable } = require('./dictionary.js');
const { countCases } = require('./features.js');
const { SdoCode } = require('./master.js');
const { startNode } = require('./panel.js');

const SECTIONS = ['dataTypes', 'communication', 'demo', 'pdos'];
// A text that is started again would leave an abort behind.
const OPTIONS = ['--sdo-timeout', '10000'];
const DEVICE_TYPE = 0x1000;
const LAST_INDEX = 0x21FF;
const LAST_SUB_INDEX = 0xFF;

async function assertReads(master, object, { abort, bytes, length }) {
    const upload = master.upload(object.index, object.subIndex);
    if (abort) {
        await assert.rejects(upload, { code: abort });
        return;
    }
    const data = await upload;
    assert.equal(data.length, length ?? bytes?.length ?? data.length);
    assert.deepEqual(data, bytes ?? data);
}

/**
 * The code with which a write is refused, or null. It is seen on the bus: the node confirms the last segment before
 * it writes, so that the package takes the abort behind it for none of its own. The upload waits for that.
 */
async function write(master, { index, subIndex }, data) {
    const aborts = master.aborts.length;
    await master.download(index, subIndex, data).catch(({ name }) => assert.equal(name, 'SdoError'));
    await master.upload(DEVICE_TYPE);
    return master.aborts[aborts] ?? null;
}

async function writeAll(master, object) {
    let reading = object.reading;
    for (const { text, data, abort, held } of object.writes) {
        assert.equal(await write(master, object, data), abort, text);
        reading = abort === null ? { bytes: held } : reading;
        await assertReads(master, object, reading);
    }
    return reading;
}

async function writeOtherSizes(master, object, reading) {
    const size = reading.length ?? reading.bytes.length;
    for (const other of [1, 2, 3, 4].filter((one) => one !== size)) {
        assert.equal(await write(master, object, Buffer.alloc(other)), SdoCode.BAD_VALUE, `${other} bytes`);
        await assertReads(master, object, reading);
    }
}

test('every object holds its value [dictionary: every object: its value]', async (t) => {
    const { master } = await startNode(t, ...OPTIONS);
    for (const object of readTable(...SECTIONS))
        await t.test(object.name, () => assertReads(master, object, object.reading));
});

test('every object answers to writes [dictionary: every object: writes taken and refused, other sizes]', async (t) => {
    const { master } = await startNode(t, ...OPTIONS);
    const objects = readTable(...SECTIONS);
    for (const object of objects) {
        await t.test(object.name, async () => {
            const reading = await writeAll(master, object);
            if (object.isNumber)
                await writeOtherSizes(master, object, reading);
        });
    }
    for (const object of objects)
        await t.test(`${object.name} in the end`, () => assertReads(master, object, object.left));
});

async function assertUnknown(master, index, subIndex) {
    await assert.rejects(master.upload(index, subIndex), { code: SdoCode.OBJECT_UNDEFINED });
    await assert.rejects(master.download(index, subIndex, Buffer.alloc(1)), { code: SdoCode.OBJECT_UNDEFINED });
}

test('every other index is unknown [dictionary: indexes that are not there]', async (t) => {
    const { master } = await startNode(t, ...OPTIONS);
    const known = new Set(readTable(...SECTIONS).map(({ index }) => index));
    const indexes = Array.from({ length: LAST_INDEX }, (_, before) => before + 1).filter((index) => !known.has(index));
    for (const index of indexes)
        await assertUnknown(master, index, 0);
    countCases(t, indexes.length);
});

test('every other sub-index is unknown [dictionary: sub-indexes that are not there]', async (t) => {
    const { master } = await startNode(t, ...OPTIONS);
    const objects = readTable(...SECTIONS);
    const known = new Set(objects.map(({ index, subIndex }) => `${index}.${subIndex}`));
    for (const { index, subIndex } of objects) {
        for (const other of [subIndex + 1, LAST_SUB_INDEX]) {
            if (!known.has(`${index}.${other}`))
                await assertUnknown(master, index, other);
        }
    }
});
