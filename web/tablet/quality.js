// What the receiving side of a leg shows, looked at once a second: whether a picture is there, whether it waits for a
// whole one, and whether sound or picture arrive badly.

/** Of the packets of a second; above it words get lost. */
const BAD_LOSS = 0.05;
/** Seconds without a new picture after which the last one is taken away, since it is no longer true. */
const STALE_AFTER = 2;

/** @typedef {{ packets: number, lost: number, frames: number }} Counts */

export class Quality {
    constructor() {
        this.hasPicture = false;
        this.needsKeyFrame = false;
        this.isBad = false;
        this.stale = 0;
        /** @type {Record<string, Counts>} */
        this.earlier = {};
    }

    /** @param {RTCPeerConnection} connection */
    async look(connection) {
        /** @type {Record<string, Counts>} */
        const now = { audio: noCounts(), video: noCounts() };
        for (const report of (await connection.getStats()).values()) {
            if (report.type !== 'inbound-rtp') continue;
            const counts = now[report.kind];
            counts.packets += report.packetsReceived ?? 0;
            counts.lost += report.packetsLost ?? 0;
            counts.frames += report.framesDecoded ?? 0;
        }
        const gain = (/** @type {string} */ kind, /** @type {keyof Counts} */ count) =>
            now[kind][count] - (this.earlier[kind]?.[count] ?? 0);
        this.judgePicture(gain('video', 'packets'), gain('video', 'frames'));
        this.isBad = ['audio', 'video'].some((kind) => gain(kind, 'lost') > BAD_LOSS * (gain(kind, 'packets') + gain(kind, 'lost')));
        this.earlier = now;
    }

    /** @param {number} packets @param {number} frames new since the last look */
    judgePicture(packets, frames) {
        this.needsKeyFrame = packets > 0 && frames === 0;
        this.stale = frames > 0 ? 0 : this.stale + 1;
        if (frames > 0) this.hasPicture = true;
        else if (this.stale >= STALE_AFTER) this.hasPicture = false;
    }
}

const noCounts = () => ({ packets: 0, lost: 0, frames: 0 });
