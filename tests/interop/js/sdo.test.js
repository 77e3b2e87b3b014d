'use strict';

/*
 * SDO transfers of an independent master with a running program.
 *
 * | covered                                                      | kind       |
 * |--------------------------------------------------------------|------------|
 * | expedited upload of each size, standard and demo objects     | functional |
 * | segmented upload and download, short and long                | functional |
 * | expedited download, read back                                | functional |
 * | abort codes surface as errors                                | robustness |
 * | block transfers are refused                                  | robustness |
 */

const assert = require('node:assert/strict');
const { test } = require('node:test');
const { DataType, SdoCode } = require('./master.js');
const { startNode } = require('./panel.js');

const UPLOADS = [
    ['device type', 0x1000, 0, DataType.UNSIGNED32, 0],
    ['error register', 0x1001, 0, DataType.UNSIGNED8, 0],
    ['device name', 0x1008, 0, DataType.VISIBLE_STRING, 'TAVO'],
    ['hardware version', 0x1009, 0, DataType.VISIBLE_STRING, '1.0'],
    ['software version, segmented', 0x100A, 0, DataType.VISIBLE_STRING, 'undefined'],
    ['EMCY COB-ID', 0x1014, 0, DataType.UNSIGNED32, 0x85],
    ['heartbeat time', 0x1017, 0, DataType.UNSIGNED16, 1000],
    ['vendor ID', 0x1018, 1, DataType.UNSIGNED32, 0x3C7],
    ['request COB-ID', 0x1200, 1, DataType.UNSIGNED32, 0x605],
    ['number of demo entries', 0x2000, 0, DataType.UNSIGNED8, 6],
    ['set point of the demo', 0x2000, 2, DataType.INTEGER16, 600],
    ['run switch of the demo', 0x2000, 5, DataType.BOOLEAN, true],
    ['text of the demo, segmented', 0x2001, 0, DataType.VISIBLE_STRING, 'TAVO demo machine'],
];

const TEXTS = ['x', 'four', 'fives', 'seventh', 'eighteen', 'a text of more than two segments',
    'long '.repeat(400)];

const ABORTS = [
    ['unknown object', (master) => master.upload(0x5FFF), SdoCode.OBJECT_UNDEFINED],
    ['unknown sub-index', (master) => master.upload(0x1018, 5), SdoCode.OBJECT_UNDEFINED],
    ['download to an unknown object',
        (master) => master.download(0x5FFF, 0, 1, DataType.UNSIGNED8), SdoCode.OBJECT_UNDEFINED],
    ['read-only standard object',
        (master) => master.download(0x1000, 0, 1, DataType.UNSIGNED32), SdoCode.GENERAL_ERROR],
    ['read-only demo object',
        (master) => master.download(0x2000, 1, 1, DataType.INTEGER16), SdoCode.READ_ONLY],
    ['size of another type',
        (master) => master.download(0x1017, 0, 1, DataType.UNSIGNED32), SdoCode.BAD_VALUE],
    ['above the high limit',
        (master) => master.download(0x2000, 2, 1201, DataType.INTEGER16), SdoCode.BAD_VALUE],
    ['below the low limit',
        (master) => master.download(0x2000, 2, -1, DataType.INTEGER16), SdoCode.BAD_VALUE],
    ['wrong signature to store parameters',
        (master) => master.download(0x1010, 1, 1, DataType.UNSIGNED32), 0x08000023],
];

test('uploads [SDO server: upload, expedited of 1 to 4 bytes] [SDO server: upload in segments]', async (t) => {
    const { master } = await startNode(t);
    for (const [name, index, subIndex, dataType, value] of UPLOADS)
        await t.test(name, async () => assert.equal(await master.upload(index, subIndex, dataType), value));
});

test('a downloaded number is read back [SDO server: download, expedited of 1 to 4 bytes]', async (t) => {
    const { master } = await startNode(t);
    for (const value of [0, 1, 700, 1200]) {
        await master.download(0x2000, 2, value, DataType.INTEGER16);
        assert.equal(await master.upload(0x2000, 2, DataType.INTEGER16), value);
    }
    await master.download(0x2000, 5, false, DataType.BOOLEAN);
    assert.equal(await master.upload(0x2000, 5, DataType.BOOLEAN), false);
});

test('a downloaded text is read back [SDO server: download in segments]', async (t) => {
    const { master } = await startNode(t);
    for (const text of TEXTS) {
        await t.test(`of ${text.length} characters`, async () => {
            await master.download(0x2001, 0, text, DataType.VISIBLE_STRING);
            assert.equal(await master.upload(0x2001, 0, DataType.VISIBLE_STRING), text);
        });
    }
});

test('abort codes surface as errors [SDO server: abort codes as a master sees them]', async (t) => {
    const { master } = await startNode(t);
    for (const [name, transfer, code] of ABORTS) {
        await t.test(name, async () =>
            assert.rejects(transfer(master), (error) => error.name === 'SdoError' && error.code === code));
    }
});

// The node confirms the last segment before it writes the text, so the package has taken the transfer for
// a success when the abort comes. What counts is that the abort comes and the text stays.
test('a constant text survives a segmented download [departure: refused-behind-confirmation]', async (t) => {
    const { master } = await startNode(t);
    await master.download(0x1008, 0, 'another name', DataType.VISIBLE_STRING);
    assert.equal(await master.upload(0x1008, 0, DataType.VISIBLE_STRING), 'TAVO');
    assert.deepEqual(master.aborts, [0x08000023]);
});

test('block transfers are refused [SDO server: unknown command specifiers, block transfer]', async (t) => {
    const { master } = await startNode(t);
    const inBlocks = { blockTransfer: true };
    await t.test('upload', async () => {
        await assert.rejects(master.upload(0x2001, 0, DataType.VISIBLE_STRING, inBlocks), { code: SdoCode.BAD_COMMAND });
        assert.equal(await master.upload(0x2001, 0, DataType.VISIBLE_STRING), 'TAVO demo machine');
    });
    await t.test('download', async () => {
        await assert.rejects(master.download(0x2001, 0, 'sent in blocks', DataType.VISIBLE_STRING, inBlocks),
            { code: SdoCode.BAD_COMMAND });
        assert.equal(await master.upload(0x2001, 0, DataType.VISIBLE_STRING), 'TAVO demo machine');
    });
});
