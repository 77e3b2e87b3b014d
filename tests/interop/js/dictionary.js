'use strict';

const fs = require('node:fs');
const path = require('node:path');

const TABLE = path.join(__dirname, '..', 'dictionary.json');

const toBytes = (text) => Buffer.from(text.replaceAll(' ', ''), 'hex');

/** 'bytes -> answer -> bytes; why', the second arrow and the reason only where there is one. */
function parseWrite(text) {
    const [data, answer, held = data] = text.split(';')[0].split('->').map((word) => word.trim());
    return { text, data: toBytes(data), abort: answer === 'ok' ? null : parseInt(answer, 16), held: toBytes(held) };
}

/** What an upload gives: 'bytes', 'length' or 'abort' is set, or none when the node leaves the bytes open. */
function parseReading(reads, size) {
    if (reads.startsWith('abort '))
        return { abort: parseInt(reads.slice('abort '.length), 16) };
    if (reads.startsWith('text '))
        return { bytes: Buffer.from(reads.slice('text '.length), 'ascii') };
    if (reads === 'moves')
        return { length: size };
    return reads === 'empty' ? {} : { bytes: toBytes(reads) };
}

/** The objects of some sections of the table, a later one before an earlier one. */
function readTable(...sections) {
    const table = JSON.parse(fs.readFileSync(TABLE, 'ascii'));
    const rows = new Map(sections.flatMap((section) => table[section]).map((row) => [row.at, row]));
    return [...rows.values()].map((row) => ({
        index: parseInt(row.at.split('.')[0], 16),
        subIndex: Number(row.at.split('.')[1]),
        name: `0x${row.at} ${row.name}`,
        isNumber: /^(\w\w( |$)|moves)/.test(row.reads),
        reading: parseReading(row.reads, row.size),
        left: parseReading(row.left ?? row.reads, row.size),
        writes: row.writes.map(parseWrite),
    }));
}

module.exports = { readTable };
