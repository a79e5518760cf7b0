// A page as small as a page can be: a tone as its voice, a connection for each call, ears. page.mjs carries what
// it is told and what it answers.
const context = new AudioContext();
const connections = new Map();
const kLongestGathering = 1000; // ms; some networks never say that they are done

function tone(hertz) {
    const oscillator = context.createOscillator();
    oscillator.frequency.value = hertz;
    const voice = context.createMediaStreamDestination();
    oscillator.connect(voice);
    oscillator.start();
    return voice.stream.getAudioTracks()[0];
}

function moving() {
    const canvas = document.createElement('canvas');
    canvas.width = 176;
    canvas.height = 144;
    const picture = canvas.getContext('2d');
    let angle = 0;
    setInterval(() => {
        picture.fillStyle = `hsl(${(angle += 5)} 90% 50%)`;
        picture.fillRect(0, 0, 176, 144);
    }, 100);
    return canvas.captureStream(10).getVideoTracks()[0];
}

let voice;
let face;

function connection(call) {
    if (connections.has(call)) return connections.get(call);
    const pc = new RTCPeerConnection({iceServers: []});
    const ears = context.createAnalyser();
    ears.fftSize = 8192;
    const element = document.createElement('video');
    element.muted = true;
    element.autoplay = true;
    element.srcObject = new MediaStream();
    pc.addEventListener('track', ({track}) => {
        // Without an element that plays it Chromium decodes nothing.
        element.srcObject.addTrack(track);
        if (track.kind === 'audio') context.createMediaStreamSource(new MediaStream([track])).connect(ears);
    });
    const made = {pc, ears};
    connections.set(call, made);
    return made;
}

// What each medium of the offer wants, in the order of its lines.
const directionsIn = (offer) =>
    offer.split('\nm=').slice(1).map((media) => /a=(sendrecv|sendonly|recvonly|inactive)/.exec(media)?.[1] ?? 'sendrecv');

async function gathered(pc) {
    if (pc.iceGatheringState === 'complete') return;
    await new Promise((done) => {
        setTimeout(done, kLongestGathering);
        pc.addEventListener('icegatheringstatechange', () => pc.iceGatheringState === 'complete' && done());
    });
}

window.page = {
    async start(hertz) {
        await context.resume();
        voice = tone(hertz);
        face = moving();
    },

    // To an invite, or to an offer within the call.
    async answer(call, offer) {
        const {pc} = connection(call);
        await pc.setRemoteDescription({type: 'offer', sdp: offer});
        const wanted = directionsIn(offer);
        for (const [at, transceiver] of pc.getTransceivers().entries()) {
            const kind = transceiver.receiver.track.kind;
            const sends = ['sendrecv', 'recvonly'].includes(wanted[at]);
            const receives = ['sendrecv', 'sendonly'].includes(wanted[at]);
            await transceiver.sender.replaceTrack(sends ? (kind === 'audio' ? voice : face) : null);
            transceiver.direction = sends ? (receives ? 'sendrecv' : 'sendonly') : receives ? 'recvonly' : 'inactive';
            const known = RTCRtpReceiver.getCapabilities(kind).codecs;
            transceiver.setCodecPreferences(known.filter(({mimeType}) => /opus|PCM|telephone|VP8/i.test(mimeType)));
        }
        await pc.setLocalDescription();
        await gathered(pc);
        return pc.localDescription.sdp;
    },

    // Chromium makes a whole picture when asked to by the encoding's options.
    async keyframe(call) {
        for (const sender of connection(call).pc.getSenders())
            if (sender.track?.kind === 'video') {
                const parameters = sender.getParameters();
                await sender.setParameters(parameters, {
                    encodingOptions: parameters.encodings.map(() => ({keyFrame: true})),
                });
            }
    },

    end(call) {
        connections.get(call)?.pc.close();
        connections.delete(call);
    },

    // The loudest pitch now, and what has come and gone so far.
    async hears() {
        const [call, {pc, ears}] = [...connections].at(-1) ?? ['', {}];
        if (!pc) return {call: ''};
        const spectrum = new Float32Array(ears.frequencyBinCount);
        ears.getFloatFrequencyData(spectrum);
        const loudest = spectrum.reduce((best, level, at) => (level > spectrum[best] ? at : best), 0);
        const heard = {
            call,
            hertz: (loudest * context.sampleRate) / ears.fftSize,
            loudness: Number.isFinite(spectrum[loudest]) ? spectrum[loudest] : -200,
            received: 0,
            sent: 0,
            pictures: 0,
            waiting: false, // pictures come, and none can be shown
            state: pc.connectionState,
        };
        for (const report of (await pc.getStats()).values()) {
            if (report.type === 'inbound-rtp' && report.kind === 'audio') heard.received += report.packetsReceived;
            if (report.type === 'outbound-rtp' && report.kind === 'audio') heard.sent += report.packetsSent;
            if (report.type === 'inbound-rtp' && report.kind === 'video') {
                heard.pictures += report.framesDecoded ?? 0;
                heard.waiting = report.packetsReceived > 0 && !report.framesDecoded;
            }
        }
        return heard;
    },
};
