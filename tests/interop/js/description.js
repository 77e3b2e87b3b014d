'use strict';

const fs = require('node:fs');
const { AccessType, DataType, Eds, ObjectType } = require('canopen');

const FIRST_APPLICATION_INDEX = 0x2000;
const HIGHEST_SUB_INDEX = 0xFE;

/** Bytes of a number of each type, for telling a limit's sign. */
const SIZES = {
    [DataType.BOOLEAN]: 1, [DataType.INTEGER8]: 1, [DataType.UNSIGNED8]: 1,
    [DataType.INTEGER16]: 2, [DataType.UNSIGNED16]: 2,
    [DataType.INTEGER24]: 3, [DataType.UNSIGNED24]: 3,
    [DataType.INTEGER32]: 4, [DataType.UNSIGNED32]: 4,
};

/**
 * The node writes a negative limit as its bit pattern. The package's reader takes every hexadecimal limit for
 * unsigned, finds the low limit above the high one and gives up; it does read negative decimal numbers. So
 * the same limit is written as one where the pattern cannot be meant.
 */
function withDecimalNegativeLimits(text) {
    return text.replace(/LowLimit=0x([0-9a-f]+)\nHighLimit=0x([0-9a-f]+)\n/g, (lines, low, high) => {
        if (parseInt(low, 16) <= parseInt(high, 16))
            return lines;
        return `LowLimit=${parseInt(low, 16) - 16 ** low.length}\nHighLimit=0x${high}\n`;
    });
}

/** One sub-index as the package's reader understood it. */
function describe(index, subIndex, entry) {
    const { dataType, accessType, defaultValue, raw, parameterName, key } = entry;
    return { index, subIndex, dataType, accessType, defaultValue, raw, parameterName, key };
}

/** All sub-indexes that the package's reader finds in the text of a file. */
function readDescription(file) {
    const text = fs.readFileSync(file, 'ascii');
    fs.writeFileSync(`${file}.read`, withDecimalNegativeLimits(text));
    const eds = Eds.fromFile(`${file}.read`);
    const entries = [];
    for (const object of eds.values()) {
        if (object.objectType === ObjectType.VAR)
            entries.push(describe(object.index, 0, object));
        for (let sub = 0; object.objectType !== ObjectType.VAR && sub <= HIGHEST_SUB_INDEX; ++sub) {
            const entry = eds.getSubEntry(object.index, sub);
            if (entry)
                entries.push(describe(object.index, sub, entry));
        }
    }
    return { eds, entries };
}

module.exports = { AccessType, FIRST_APPLICATION_INDEX, ObjectType, SIZES, readDescription };
