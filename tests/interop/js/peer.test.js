'use strict';

/*
 * The SDO client of a running program (--peer) with the package 'canopen' as the remote server.
 *
 * | covered                                                                   | kind       |
 * |---------------------------------------------------------------------------|------------|
 * | number and text read from the server: expedited, in segments              | functional |
 * | number and text written to the server: expedited, in segments             | functional |
 * | aborts of the server: unknown object, read-only object                    | robustness |
 * | the server falls silent and returns                                       | robustness |
 * | its heartbeat                                                             | functional |
 */

const assert = require('node:assert/strict');
const { describe, it } = require('node:test');
const { DataType } = require('./master.js');
const { startNode, waitUntil } = require('./panel.js');
const { AccessType, SERVER_ID, Server } = require('./server.js');

const MIRROR = 0x2100;
const COMMAND = 0x2101;
const SET_POINT = 1;
const TEXT = 2;
const PRESENT = 3;
const LONG_TEXT = 'a text of more than two segments';
// Long enough for a busy machine; the first request is lost, since the server is not there yet.
const OPTIONS = ['--peer', String(SERVER_ID), '--sdo-timeout', '500'];

/** A program, a master on its bus and the server, whose set point the program has read once. */
async function startWithServer(t, objects) {
    const { panel, master } = await startNode(t, ...OPTIONS);
    const server = await Server.attach(panel.port, panel.file('server.eds'),
        { setPoint: 700, text: 'four', ...objects });
    t.after(() => server.detach());
    return { panel, master, server };
}

/** A text in segments shares its place in the node with the one that the node reads: then it is read again. */
async function assertBecomes(master, subIndex, dataType, value) {
    await waitUntil(async () => await master.upload(MIRROR, subIndex, dataType).catch(() => null) === value,
        `${value} at 0x2100`);
}

const assertNumberBecomes = (master, value) => assertBecomes(master, SET_POINT, DataType.INTEGER16, value);
const assertTextBecomes = (master, value) => assertBecomes(master, TEXT, DataType.VISIBLE_STRING, value);

// They wait most of the time, each with a program of its own.
describe('the package as server', { concurrency: true }, () => {
    it('values of the server are read [SDO client: upload, expedited and in segments]', async (t) => {
        const { master, server } = await startWithServer(t, { setPoint: -2 });
        await assertNumberBecomes(master, -2);
        await assertTextBecomes(master, 'four');
        for (const text of ['fives', 'seventh', 'eighteen', LONG_TEXT]) {
            await t.test(`a text of ${text.length} characters`, async () => {
                server.text = text;
                await assertTextBecomes(master, text);
            });
        }
    });

    it('a number is written to the server [SDO client: download, expedited and in segments]', async (t) => {
        const { master, server } = await startWithServer(t);
        await assertNumberBecomes(master, 700);
        for (const value of [900, -1, 32767]) {
            await master.download(COMMAND, SET_POINT, value, DataType.INTEGER16);
            await waitUntil(() => server.setPoint === value, `${value} in the server`);
            await assertNumberBecomes(master, value);
        }
    });

    it('a text is written to the server [SDO client: download, expedited and in segments]', async (t) => {
        const { master, server } = await startWithServer(t);
        await assertTextBecomes(master, 'four');
        for (const text of ['x', 'WXYZ', 'fives', 'seventh', 'eighteen', LONG_TEXT]) {
            await t.test(`of ${text.length} characters`, async () => {
                await master.download(COMMAND, TEXT, text, DataType.VISIBLE_STRING);
                await waitUntil(() => server.text === text, `${text} in the server`);
                await assertTextBecomes(master, text);
            });
        }
    });

    it('a write that the server refuses changes nothing [SDO client: aborts of the server]', async (t) => {
        const { master, server } = await startWithServer(t, { setPointAccess: AccessType.READ_ONLY });
        await assertNumberBecomes(master, 700);
        const refused = server.waitForAbort();
        await master.download(COMMAND, SET_POINT, 900, DataType.INTEGER16);
        assert.equal(await refused, 0x06010002);
        assert.equal(server.setPoint, 700);
        assert.equal(await master.upload(MIRROR, SET_POINT, DataType.INTEGER16), 700);
    });

    it('an object that the server does not have is not readable [SDO client: aborts of the server]', async (t) => {
        const { panel, master, server } = await startWithServer(t, { hasMachine: false });
        assert.equal(await server.waitForAbort(), 0x06020000);
        await waitUntil(() => panel.countLines('peer: set point not readable') === 1, 'the line on the console');
        await assertTextBecomes(master, 'four');
        assert.equal(await master.upload(MIRROR, SET_POINT, DataType.INTEGER16), 0);
    });

    it('a server that falls silent and returns [SDO client: time-out and late answers]', async (t) => {
        const { panel, master, server } = await startWithServer(t);
        await assertNumberBecomes(master, 700);
        const before = panel.countLines('peer: set point not readable');
        server.stop();
        await waitUntil(() => panel.countLines('peer: set point not readable') === before + 1, 'an invalid value');
        assert.equal(await master.upload(MIRROR, SET_POINT, DataType.INTEGER16), 700);
        server.setPoint = 800;
        server.start();
        await assertNumberBecomes(master, 800);
    });

    it('the heartbeat of the server is watched [heartbeat: consumer: lost and back]', async (t) => {
        const { panel, master, server } = await startWithServer(t);
        const isPresent = () => master.upload(MIRROR, PRESENT, DataType.BOOLEAN);
        await waitUntil(isPresent, 'the first heartbeat');
        server.stop();
        await waitUntil(async () => !await isPresent(), 'a missing heartbeat');
        server.start();
        await waitUntil(isPresent, 'another heartbeat');
        const count = (what) => panel.countLines(`node ${SERVER_ID}: heartbeat ${what}`);
        await waitUntil(() => count('lost') > 0 && count('back') === count('lost') + 1, 'each of them on the console');
    });
});
