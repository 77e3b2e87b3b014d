'use strict';

const { Device, DataType, SdoCode } = require('canopen');
const { EventEmitter } = require('node:events');
const { SocketcandBus } = require('./socketcand.js');

const MASTER_ID = 0x7E;
const PANEL_ID = 5;

/**
 * The package 'canopen' as master of a bus with the panel on it: an SDO client and a heartbeat consumer.
 * Keeps the codes of all aborts that the panel sent.
 */
class Master {
    constructor(bus) {
        this.bus = bus;
        this.seen = [];
        this.aborts = [];
        this.news = new EventEmitter();
        this.device = new Device({ id: MASTER_ID });
        this.device.eds.addSdoClientParameter(PANEL_ID, 0x600 + PANEL_ID, 0x580 + PANEL_ID);
        this.device.eds.addHeartbeatConsumer(PANEL_ID, 1000);
        this.device.on('message', (frame) => bus.send(frame));
        for (const event of ['heartbeat', 'timeout'])
            this.device.nmt.on(event, (detail) => this.note(event, detail));
        bus.on('frame', (frame) => this.receive(frame));
    }

    static async attach(port) {
        const master = new Master(await SocketcandBus.open(port, 'bus0'));
        master.device.start();
        return master;
    }

    async detach() {
        this.device.stop();
        await this.bus.close();
    }

    receive(frame) {
        if (frame.id === 0x580 + PANEL_ID && frame.data[0] === 0x80)
            this.aborts.push(frame.data.readUInt32LE(4));
        this.device.receive({ ...frame, len: frame.data.length });
    }

    get nmt() {
        return this.device.nmt;
    }

    note(event, detail) {
        this.seen.push(event === 'heartbeat' ? detail.state : event);
        this.news.emit('news');
    }

    /** Resolves when the heartbeat consumer has told of this state of the panel, or of its 'timeout'. */
    async waitFor(wanted) {
        while (!this.seen.includes(wanted))
            await new Promise((resolve) => this.news.once('news', resolve));
        this.seen.splice(0, this.seen.indexOf(wanted) + 1);
    }

    /** Without a data type the bytes as they came. */
    upload(index, subIndex = 0, dataType = null, options = {}) {
        return Master.patiently(() => this.device.sdo.upload({
            serverId: PANEL_ID, index, subIndex, dataType, timeout: 5000, ...options }));
    }

    download(index, subIndex, data, dataType, options = {}) {
        return Master.patiently(() => this.device.sdo.download({
            serverId: PANEL_ID, index, subIndex, data, dataType, timeout: 5000, ...options }));
    }

    /** The node gives a master 100 ms for each segment; one that was held up for longer starts again. */
    static async patiently(transfer, attempts = 3) {
        try {
            return await transfer();
        }
        catch (error) {
            if (error.code !== SdoCode.TIMEOUT || attempts === 1)
                throw error;
            return Master.patiently(transfer, attempts - 1);
        }
    }
}

module.exports = { DataType, Master, PANEL_ID, SdoCode };
