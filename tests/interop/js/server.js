'use strict';

const { EventEmitter, once } = require('node:events');
const { AccessType, DataType, Device, Eds, ObjectType } = require('canopen');
const { SocketcandBus } = require('./socketcand.js');

const SERVER_ID = 0x20;
const CLIENT_ID = 5;
const SET_POINT = 2;
const REQUESTS = 0x600 + SERVER_ID;
const RESPONSES = 0x580 + SERVER_ID;
const ABORT = 0x80;

/** The objects of another maker's device that the panel reads and writes, as an EDS file. */
function writeEds(file, { setPoint, text, setPointAccess = AccessType.READ_WRITE, hasMachine = true }) {
    const eds = new Eds();
    if (hasMachine)
        addMachine(eds, setPoint, setPointAccess);
    eds.addEntry(0x2001, {
        parameterName: 'Device Text', dataType: DataType.VISIBLE_STRING, accessType: AccessType.READ_WRITE,
        defaultValue: text,
    });
    eds.addSdoServerParameter(CLIENT_ID, RESPONSES, REQUESTS, { saveDefault: true });
    eds.setHeartbeatProducerTime(200, { saveDefault: true });
    eds.save(file);
}

function addMachine(eds, setPoint, setPointAccess) {
    eds.addEntry(0x2000, { parameterName: 'Machine', objectType: ObjectType.RECORD });
    // The package saves the sub-indexes up to the first gap.
    eds.addSubEntry(0x2000, 1, {
        parameterName: 'Temperature', dataType: DataType.INTEGER16, accessType: AccessType.READ_ONLY,
    });
    eds.addSubEntry(0x2000, SET_POINT, {
        parameterName: 'Set Point', dataType: DataType.INTEGER16, accessType: setPointAccess, defaultValue: setPoint,
    });
}

/** The package 'canopen' as the SDO server that the panel's client talks to. */
class Server {
    constructor(bus, eds) {
        this.bus = bus;
        this.aborts = new EventEmitter();
        this.device = new Device({ id: SERVER_ID, eds });
        this.device.on('message', (frame) => this.send(frame));
        bus.on('frame', (frame) => this.device.receive({ ...frame, len: frame.data.length }));
    }

    static async attach(port, file, objects) {
        writeEds(file, objects);
        const server = new Server(await SocketcandBus.open(port, 'bus0'), Eds.fromFile(file));
        server.device.start();
        return server;
    }

    send(frame) {
        this.bus.send(frame);
        if (frame.id === RESPONSES && frame.data[0] === ABORT)
            this.aborts.emit('abort', frame.data.readUInt32LE(4));
    }

    /** Resolves to the code of the next abort with which the server answers. */
    async waitForAbort() {
        const [code] = await once(this.aborts, 'abort');
        return code;
    }

    get setPoint() {
        return this.device.eds.getSubEntry(0x2000, SET_POINT).value;
    }

    set setPoint(value) {
        this.device.eds.getSubEntry(0x2000, SET_POINT).value = value;
    }

    get text() {
        return this.device.eds.getEntry(0x2001).value;
    }

    set text(value) {
        this.device.eds.getEntry(0x2001).value = value;
    }

    start() {
        this.device.start();
    }

    stop() {
        this.device.stop();
    }

    async detach() {
        this.device.stop();
        await this.bus.close();
    }
}

module.exports = { AccessType, SERVER_ID, Server };
