'use strict';

/*
 * Device descriptions that an independent EDS reader and the program read alike: what the one finds in the file, the
 * node of the other answers over SDO.
 *
 * | covered                                                                    | kind       |
 * |----------------------------------------------------------------------------|------------|
 * | an I/O block, a drive with 64 PDOs, all types and access rights, the habits   | functional |
 * |   of tools: every object against the live node                                |            |
 * | what the program exports, read unmodified, against the live node              | functional |
 * | what it exports given back: the same objects, and the same export             | functional |
 * | --check: exit status of each file; what a master had the node save           | functional |
 */

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { spawnSync } = require('node:child_process');
const { test } = require('node:test');
const { Eds, ObjectType } = require('canopen');
const { FIRST_APPLICATION_INDEX, SIZES } = require('./description.js');
const { DataType, PANEL_ID, SdoCode } = require('./master.js');
const { startNode } = require('./panel.js');

const FOLDER = path.join(__dirname, '..', 'eds');
const HIGHEST_SUB_INDEX = 0xFE;
const NO_REMOTE_REQUEST = 0x40000000;

/** The node gives these objects values of its own; to each of its PDOs it gives an event timer, the last parameter. */
const OWN_OBJECTS = new Set([0x1000, 0x1001, 0x1008, 0x1018]);
const isOwn = ({ index, subIndex }) =>
    OWN_OBJECTS.has(index) || (index >= 0x1400 && index < 0x1C00 && !isMapping({ index }) && subIndex === 0);

const isTransmitCOBID = ({ index, subIndex }) => index >= 0x1800 && index < 0x1A00 && subIndex === 1;
const isMapping = ({ index }) => (index >= 0x1600 && index < 0x1800) || (index >= 0x1A00 && index < 0x1C00);

/** A number as it is written: the package takes the node-ID for 0. */
function parse(text) {
    const words = text.toUpperCase().replace(/\s/g, '').split('+');
    const numbers = words.map((word) => word === '$NODEID' ? PANEL_ID
        : /^0[0-7]+$/.test(word) ? parseInt(word, 8) : Number(word));
    return numbers.reduce((sum, number) => sum + number, 0);
}

function encode({ dataType, defaultValue }) {
    if (dataType === DataType.VISIBLE_STRING)
        return Buffer.from(defaultValue ?? '');
    const bytes = Buffer.alloc(SIZES[dataType]);
    const bits = 8n * BigInt(bytes.length);
    const number = BigInt.asUintN(Number(bits), BigInt(parse(defaultValue || '0')));
    bytes.writeUIntLE(Number(number), 0, bytes.length);
    return bytes;
}

/** The package does not read compact sub-objects, and has a sub-index 0 of its own instead. */
function isMadeUp(subIndex, { defaultValue, parameterName }) {
    return subIndex === 0 && defaultValue === undefined && parameterName === 'Max sub-index';
}

/** All sub-indexes that the package's reader finds in a file, which is not touched. */
function read(file) {
    const eds = Eds.fromFile(file);
    const entries = [];
    for (const object of eds.values()) {
        const { index } = object;
        const hasSubIndexes = [ObjectType.ARRAY, ObjectType.RECORD].includes(object.objectType);
        if (!hasSubIndexes)
            entries.push({ index, subIndex: 0, entry: object });
        for (let subIndex = 0; hasSubIndexes && subIndex <= HIGHEST_SUB_INDEX; ++subIndex) {
            const entry = eds.getSubEntry(index, subIndex);
            if (entry && !isMadeUp(subIndex, entry))
                entries.push({ index, subIndex, entry });
        }
    }
    return { eds, entries };
}

/** Entries of a mapping beyond its number are in a file, but not in the node. */
function isUnused({ index, subIndex, entry }, entries) {
    if (!isMapping({ index }) || subIndex === 0)
        return false;
    const count = entries.find((one) => one.index === index && one.subIndex === 0);
    return count !== undefined && subIndex > parse(count.entry.defaultValue || '0') && !parse(entry.defaultValue || '0');
}

async function assertRefused(master, { index, subIndex }, ...codes) {
    await assert.rejects(master.upload(index, subIndex), ({ code }) => codes.includes(code),
        `${index.toString(16)}sub${subIndex}`);
}

async function compare(master, one, entries) {
    const { index, subIndex, entry } = one;
    const key = `${index.toString(16)}sub${subIndex}`;
    const isHeld = entry.dataType === DataType.VISIBLE_STRING || entry.dataType in SIZES;
    if (!isHeld || isUnused(one, entries) || (subIndex === 4 && index >= 0x1400 && index < 0x1A00))
        return assertRefused(master, one, SdoCode.BAD_SUB_INDEX, SdoCode.OBJECT_UNDEFINED);
    if (index >= FIRST_APPLICATION_INDEX && entry.accessType === 'wo' && entry.dataType !== DataType.VISIBLE_STRING)
        return assertRefused(master, one, SdoCode.WRITE_ONLY);
    const live = await master.upload(index, subIndex);
    if (isOwn(one))
        return undefined;
    const expected = encode(entry);
    if (isTransmitCOBID(one))
        expected.writeUInt32LE((expected.readUInt32LE() | NO_REMOTE_REQUEST) >>> 0);
    return assert.deepEqual(live, expected, key);
}

async function compareAll(master, { entries }) {
    for (const one of entries)
        await compare(master, one, entries);
}

function check(file) {
    return spawnSync(process.env.TAVO_PANEL, ['--check', file], { encoding: 'latin1' });
}

const DEVICES = [
    { name: 'io-block', objects: 50, status: 0 },
    { name: 'drive', objects: 500, status: 0 },
    { name: 'types', objects: 150, status: 1 },
    { name: 'habits', objects: 20, status: 1 },
];

for (const { name, objects, status } of DEVICES) {
    const file = path.join(FOLDER, `${name}.eds`);

    test(`${name}.eds describes the live node [DCF: EDS files of four devices, each as the live node]`, async (t) => {
        const { master } = await startNode(t, '--app', file);
        const description = read(file);
        assert.ok(description.entries.length >= objects, `${description.entries.length} sub-indexes`);
        await compareAll(master, description);
    });

    test(`${name}.eds is checked`, () => {
        const checked = check(file);
        assert.equal(checked.status, status, checked.stdout);
    });

    test(`${name}.eds: what the node exports describes it, and makes the same node [DCF: what --export writes]`, async (t) => {
        const first = await startNode(t, '--app', file, '--export', 'node.eds');
        const exported = first.panel.file('node.eds');
        const description = read(exported);
        await compareAll(first.master, description);
        assert.equal(check(exported).status, 0, check(exported).stdout);
        const again = await startNode(t, '--app', exported, '--export', 'node.eds');
        await compareAll(again.master, description);
        assert.equal(fs.readFileSync(again.panel.file('node.eds'), 'latin1'), fs.readFileSync(exported, 'latin1'));
    });
}

test('the export of the demo machine names the device [DCF: what --export writes]', async (t) => {
    const { panel, master } = await startNode(t, '--export', 'node.eds');
    const { eds } = read(panel.file('node.eds'));
    const vendor = await master.upload(0x1018, 1, DataType.UNSIGNED32);
    const product = await master.upload(0x1018, 2, DataType.UNSIGNED32);
    assert.equal(Number(eds.vendorNumber), vendor);
    assert.equal(Number(eds.productNumber), product);
    assert.equal(eds.fileName, 'node.eds');
    assert.deepEqual([Number(eds.nrOfRXPDO), Number(eds.nrOfTXPDO)], [2, 2]);
});

test('a file that cannot be read is an error of the check', () => {
    const checked = check(path.join(FOLDER, 'missing.eds'));
    assert.equal(checked.status, 2);
    assert.match(checked.stdout, /missing\.eds: cannot be read: No such file or directory/);
});

test('what a master had the node save is taken as a device [DCF: what "save" wrote, taken back by --app]', async (t) => {
    const { panel, master } = await startNode(t);
    await master.download(0x2000, 2, 700, DataType.INTEGER16);
    await master.download(0x1010, 1, 0x65766173, DataType.UNSIGNED32);
    const saved = panel.file('tavo.dcf');
    assert.equal(check(saved).status, 1);
    const again = await startNode(t, '--app', saved);
    assert.equal(await again.master.upload(0x2000, 2, DataType.INTEGER16), 700);
});
