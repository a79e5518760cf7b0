// Sound and picture of this page: microphone, camera, and the legs of calls. SDP comes and goes as text; the page knows
// nothing else of who is at the other end.

/** Without the microphone's permission gathering may never end. */
const GATHERING_TIME_MS = 400;
/** Call control refuses more. */
const LONGEST_SDP = 7_000;
/** An announcement needs one for itself and one for the call that comes meanwhile. */
const SPARE_CONNECTIONS = 2;
/** With two, sound and picture are both gathered in advance. */
const CONFIGURATION = { iceServers: [], iceCandidatePoolSize: 2 };
const SOUND = { echoCancellation: true, noiseSuppression: true, autoGainControl: true };
const PICTURE = { width: { ideal: 640 }, height: { ideal: 480 }, frameRate: { ideal: 20, max: 30 }, facingMode: 'user' };
/** What both ends of every call may speak; more makes descriptions too long. */
const CODECS = {
    audio: ['audio/opus', 'audio/pcma', 'audio/pcmu', 'audio/telephone-event'],
    video: ['video/vp8', 'video/h264', 'video/rtx'],
};

/** Of H.264's many forms the one that every phone and door station knows. @param {RTCRtpCodec} codec */
const isPlain = ({ mimeType, sdpFmtpLine = '' }) => !/h264$/i.test(mimeType) || /packetization-mode=1.*profile-level-id=42/.test(sdpFmtpLine);

/** @typedef {'audio' | 'video'} Kind */
/** What a leg may carry, seen from this page. @typedef {'none' | 'send' | 'receive' | 'both'} Direction */
/**
 * Why a device is not there: the page is not secure, the user or the browser refuses it, there is none, or another
 * program has it.
 * @typedef {'insecure' | 'refused' | 'missing' | 'busy'} Lack
 */

/** @param {Direction} direction */
export const sends = (direction) => direction === 'send' || direction === 'both';

/** Microphone or camera could not be had. */
export class LackError extends Error {
    /** @param {Kind} kind @param {Lack} lack */
    constructor(kind, lack) {
        super(`${kind}: ${lack}`);
        this.kind = kind;
        this.lack = lack;
    }
}

/** @param {Kind} kind @param {unknown} error */
function lackOf(kind, error) {
    const name = error instanceof Error ? error.name : '';
    if (name === 'NotFoundError' || name === 'OverconstrainedError') return new LackError(kind, 'missing');
    if (name === 'NotReadableError' || name === 'AbortError') return new LackError(kind, 'busy');
    return new LackError(kind, 'refused');
}

/** Microphone, camera, and connections made in advance. */
export class Media {
    constructor() {
        /** @type {RTCPeerConnection[]} */
        this.spares = [];
        this.isAllowed = false;
    }

    get isSecure() {
        return window.isSecureContext && !!navigator.mediaDevices;
    }

    /** Makes the connections that the next calls take: gathering costs a tenth of a second otherwise. */
    prepare() {
        while (this.spares.length < SPARE_CONNECTIONS) this.spares.push(new RTCPeerConnection(CONFIGURATION));
    }

    /** For when a device has been allowed: connections made before may know no address of this machine. */
    renew() {
        for (const spare of this.spares.splice(0)) spare.close();
        this.prepare();
    }

    take() {
        const connection = this.spares.shift() ?? new RTCPeerConnection(CONFIGURATION);
        setTimeout(() => this.prepare(), GATHERING_TIME_MS);
        return connection;
    }

    /** A live track of microphone or camera; throws LackError. @param {Kind} kind */
    async capture(kind) {
        if (!this.isSecure) throw new LackError(kind, 'insecure');
        try {
            const wanted = kind === 'audio' ? { audio: SOUND } : { video: PICTURE };
            const stream = await navigator.mediaDevices.getUserMedia(wanted);
            if (!this.isAllowed) this.renew();
            this.isAllowed = true;
            return stream.getTracks()[0];
        } catch (error) {
            throw lackOf(kind, error);
        }
    }

    /** Asks for the microphone, so that the first call need not wait; what is lacking, or null. */
    async allow() {
        try {
            (await this.capture('audio')).stop();
            return null;
        } catch (error) {
            return /** @type {LackError} */ (error).lack;
        }
    }

    /** What is known without asking: "prompt" where the browser would ask. @returns {Promise<Lack | 'prompt' | null>} */
    async microphone() {
        if (!this.isSecure) return 'insecure';
        if (!(await this.has('audioinput'))) return 'missing';
        try {
            const name = /** @type {PermissionName} */ ('microphone');
            const { state } = await navigator.permissions.query({ name });
            return state === 'granted' ? null : state === 'denied' ? 'refused' : 'prompt';
        } catch {
            return 'prompt';
        }
    }

    /** @param {MediaDeviceKind} kind */
    async has(kind) {
        const devices = await navigator.mediaDevices.enumerateDevices();
        return devices.some((device) => device.kind === kind);
    }
}

/** One call's connection to the home's media server. */
export class Leg {
    /**
     * @param {Media} media
     * @param {{ audio: Direction, video: Direction, camera: boolean }} may what the call allows, and whether the
     *     camera begins switched on
     * @param {() => void} changed tracks have come or gone, or a device is lacking
     */
    constructor(media, may, changed) {
        this.media = media;
        this.may = may;
        this.changed = changed;
        this.connection = media.take();
        // A new one for each leg: an element whose stream holds ended tracks stays silent.
        this.remote = new MediaStream();
        /** @type {Partial<Record<Kind, MediaStreamTrack>>} */
        this.tracks = {};
        /** @type {MediaStream | null} */
        this.own = null;
        /** @type {LackError[]} */
        this.lacks = [];
        this.isMuted = false;
        this.isHeld = false;
        this.isClosed = false;
        this.wantsCamera = may.camera && sends(may.video);
        this.connection.addEventListener('track', ({ track }) => {
            this.remote.addTrack(track);
            track.addEventListener('unmute', changed);
            track.addEventListener('mute', changed);
            changed();
        });
    }

    /**
     * The answer to an offer, the first or a later one. Does not wait for the microphone: its track may follow.
     * @param {string} offer
     */
    async answer(offer) {
        await this.connection.setRemoteDescription({ type: 'offer', sdp: offer });
        for (const transceiver of this.connection.getTransceivers()) this.settle(transceiver, offer);
        await this.connection.setLocalDescription();
        await this.gathered();
        const sdp = this.connection.localDescription?.sdp ?? '';
        if (sdp.length > LONGEST_SDP) throw new Error(`the description has ${sdp.length} bytes, more than ${LONGEST_SDP}`);
        return sdp;
    }

    /** @param {RTCRtpTransceiver} transceiver @param {string} offer */
    settle(transceiver, offer) {
        const kind = /** @type {Kind} */ (transceiver.receiver.track.kind);
        const offered = offeredDirection(offer, transceiver.mid ?? '');
        const canSend = (offered === 'sendrecv' || offered === 'recvonly') && sends(this.may[kind]);
        const canReceive = offered === 'sendrecv' || offered === 'sendonly';
        transceiver.direction = canSend ? (canReceive ? 'sendrecv' : 'sendonly') : canReceive ? 'recvonly' : 'inactive';
        const all = RTCRtpReceiver.getCapabilities(kind)?.codecs ?? [];
        const known = CODECS[kind].flatMap((type) => all.filter((codec) => codec.mimeType.toLowerCase() === type && isPlain(codec)));
        if (known.length) transceiver.setCodecPreferences(known);
    }

    async gathered() {
        const { connection } = this;
        if (connection.iceGatheringState === 'complete') return;
        await new Promise((done) => {
            setTimeout(done, GATHERING_TIME_MS);
            connection.addEventListener('icegatheringstatechange', () => {
                if (connection.iceGatheringState === 'complete') done(null);
            });
        });
    }

    /** Opens what the call lets this page send. What is lacking stands in `lacks`; the call goes on without it. */
    async capture() {
        await Promise.all([
            sends(this.may.audio) && this.open('audio'),
            this.wantsCamera && this.open('video'),
        ]);
        await this.apply();
    }

    /** @param {Kind} kind */
    async open(kind) {
        if (this.tracks[kind]) return;
        try {
            const track = await this.media.capture(kind);
            const isWanted = !this.isClosed && (kind === 'audio' || this.wantsCamera);
            if (!isWanted || this.tracks[kind]) return track.stop();
            this.tracks[kind] = track;
            track.addEventListener('ended', () => this.lose(kind, track));
            if (kind === 'video') this.own = new MediaStream([track]);
            this.lacks = this.lacks.filter((lack) => lack.kind !== kind);
        } catch (error) {
            if (kind === 'video') this.wantsCamera = false;
            this.lack(/** @type {LackError} */ (error));
        }
        this.changed();
    }

    /** A device was unplugged, or its permission withdrawn. @param {Kind} kind @param {MediaStreamTrack} track */
    lose(kind, track) {
        if (this.tracks[kind] !== track) return;
        this.drop(kind);
        this.lack(new LackError(kind, 'missing'));
        this.changed();
    }

    /** @param {LackError} error */
    lack(error) {
        this.lacks = [...this.lacks.filter((lack) => lack.kind !== error.kind), error];
    }

    /** @param {Kind} kind */
    drop(kind) {
        this.tracks[kind]?.stop();
        delete this.tracks[kind];
        if (kind === 'video') this.own = null;
    }

    /** Gives the senders what they should send now: nothing while the call is held. */
    async apply() {
        if (this.isClosed) return;
        if (this.tracks.audio) this.tracks.audio.enabled = !this.isMuted;
        for (const { sender, receiver, direction } of this.connection.getTransceivers()) {
            const isSending = direction === 'sendrecv' || direction === 'sendonly';
            const track = isSending && !this.isHeld ? this.tracks[/** @type {Kind} */ (receiver.track.kind)] : undefined;
            if (sender.track !== (track ?? null)) await sender.replaceTrack(track ?? null);
        }
        this.changed();
    }

    /** @param {boolean} isMuted */
    mute(isMuted) {
        this.isMuted = isMuted;
        return this.apply();
    }

    /** @param {boolean} isHeld */
    hold(isHeld) {
        this.isHeld = isHeld;
        return this.apply();
    }

    /** @param {boolean} isOn */
    async camera(isOn) {
        this.wantsCamera = isOn;
        if (isOn) await this.open('video');
        else this.drop('video');
        return this.apply();
    }

    /** Whether microphone or camera are live. @param {Kind} kind */
    isLive(kind) {
        return this.tracks[kind]?.readyState === 'live' && !this.isHeld && !(kind === 'audio' && this.isMuted);
    }

    /** The other end cannot show the picture without a whole one. */
    async sendKeyFrame() {
        for (const sender of this.connection.getSenders()) {
            if (sender.track?.kind !== 'video') continue;
            const parameters = sender.getParameters();
            const options = { encodingOptions: parameters.encodings.map(() => ({ keyFrame: true })) };
            // Browsers without the second argument ignore it and send whole pictures when RTCP asks for them.
            await /** @type {any} */ (sender).setParameters(parameters, options);
        }
    }

    close() {
        if (this.isClosed) return;
        this.isClosed = true;
        this.drop('audio');
        this.drop('video');
        this.connection.close();
        for (const track of this.remote.getTracks()) this.remote.removeTrack(track);
    }
}

/** What an offer says of one of its media. @param {string} sdp @param {string} mid */
export function offeredDirection(sdp, mid) {
    const [session, ...sections] = sdp.split(/^(?=m=)/m);
    const section = sections.find((text) => text.split(/\r?\n/).includes(`a=mid:${mid}`)) ?? '';
    const said = /^a=(sendrecv|sendonly|recvonly|inactive)\r?$/m;
    if (/^m=\w+ 0 /.test(section) && !/^a=bundle-only/m.test(section)) return 'inactive';
    return (said.exec(section) ?? said.exec(session))?.[1] ?? 'sendrecv';
}
