'use strict';

const { EventEmitter, once } = require('node:events');
const net = require('node:net');

/**
 * A connection to a bus that is served in the raw mode of socketcand's line protocol.
 * Emits 'frame' with { id, data } for each frame of the bus.
 */
class SocketcandBus extends EventEmitter {
    constructor(socket) {
        super();
        this.socket = socket;
        this.pending = '';
        // One frame a segment: otherwise the kernel holds a request back until the last one is acknowledged.
        socket.setNoDelay(true);
        socket.setEncoding('ascii');
        socket.on('data', (text) => this.take(text));
    }

    static async open(port, channel) {
        const bus = new SocketcandBus(net.connect(port, '127.0.0.1'));
        await once(bus, 'hi');
        for (const command of [`< open ${channel} >`, '< rawmode >']) {
            bus.socket.write(command);
            await once(bus, 'ok');
        }
        return bus;
    }

    take(text) {
        const parts = (this.pending + text).split('>');
        this.pending = parts.pop();
        for (const part of parts) {
            const [word, ...rest] = part.replace('<', '').trim().split(/\s+/);
            this.emit(word, ...(word === 'frame' ? [SocketcandBus.parse(rest)] : rest));
        }
    }

    /** @param {string[]} words - identifier, time stamp and, unless there is none, the data. */
    static parse([identifier, , data = '']) {
        return { id: parseInt(identifier, 16), data: Buffer.from(data, 'hex') };
    }

    send({ id, data }) {
        const bytes = Array.from(data, (byte) => byte.toString(16));
        this.socket.write(`< send ${[id.toString(16), bytes.length, ...bytes].join(' ')} >`);
    }

    async close() {
        if (this.socket.closed)
            return;
        const closed = once(this.socket, 'close');
        this.socket.destroy();
        await closed;
    }
}

module.exports = { SocketcandBus };
