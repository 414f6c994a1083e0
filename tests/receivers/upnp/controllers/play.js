// Plays a film with the npm package upnp-mediarenderer-client, as a phone does. Prints a line for each
// step; exits 1 after the first that fails.
//
// usage: node play.js DESCRIPTION-URL FILM-URL
'use strict';

const path = require('path');
const modules = process.env.CONTROLLER_MODULES || path.join(__dirname, 'node_modules');
const Client = require(path.join(modules, 'upnp-mediarenderer-client'));

if (process.env.CONTROLLER_LOOPBACK) {
  // The package receives events on the first address that is not of the loopback interface.
  require('os').networkInterfaces = () => ({
    eth0: [{ family: 'IPv4', address: '127.0.0.1', internal: false }],
  });
}

const [description, film] = process.argv.slice(2);
const client = new Client(description);
const patience = 30000;

const call = (method, ...values) => new Promise((resolve, reject) =>
  client[method](...values, (error, result) => (error ? reject(error) : resolve(result))));
const events = [];
let waiting = null;
for (const name of ['loading', 'playing', 'paused', 'stopped']) {
  client.on(name, () => {
    console.log(`   event ${name}`);
    events.push(name);
    if (waiting) waiting();
  });
}
client.on('error', (error) => fail('error event', error));

function fail(step, error) {
  console.log(`failed: ${step}: ${error.message}`);
  process.exit(1);
}

// Waits for an event that comes after the ones that were taken.
async function event(name) {
  const expired = setTimeout(() => fail(`event ${name}`, new Error('none came')), patience);
  while (!events.includes(name)) await new Promise((resolve) => { waiting = resolve; });
  events.splice(0, events.indexOf(name) + 1);
  clearTimeout(expired);
}

async function step(name, run) {
  try {
    const result = await run();
    console.log(`ok: ${name}${result === undefined ? '' : `: ${result}`}`);
  } catch (error) {
    fail(name, error);
  }
}

function expect(truth, text) {
  if (!truth) throw new Error(text);
}

(async () => {
  await step('GetProtocolInfo', async () => {
    const protocols = await call('getSupportedProtocols');
    expect(protocols.some((one) => one.contentFormat === 'video/mp4'), 'no video/mp4');
    return `${protocols.length} formats`;
  });
  await step('SetAVTransportURI and Play', async () => {
    await call('load', film, {
      autoplay: true,
      contentType: 'video/mp4',
      metadata: { title: 'A <film> & more', creator: 'Someone', type: 'video' },
    });
  });
  await step('PLAYING', () => event('playing'));
  await step('GetMediaInfo', async () => {
    const duration = await call('getDuration');
    expect(duration > 0, `duration ${duration}`);
    return `${duration} s`;
  });
  await step('Pause', async () => {
    await call('pause');
    await event('paused');
  });
  await step('Seek', async () => {
    await call('seek', 5);
    const position = await call('getPosition');
    expect(position >= 4 && position <= 6, `position ${position}`);
    return `${position} s`;
  });
  await step('Play', async () => {
    await call('play');
    await event('playing');
  });
  await step('SetVolume and GetVolume', async () => {
    await call('setVolume', 30);
    const volume = await call('getVolume');
    expect(volume === 30, `volume ${volume}`);
    return volume;
  });
  await step('a picture is refused', async () => {
    const error = await call('load', 'http://127.0.0.1/a.png', {
      contentType: 'image/png', metadata: { title: 'Picture', type: 'image' },
    }).then(() => null, (reason) => reason);
    expect(error && error.errorCode === '714', `error ${error && error.errorCode}`);
    return error.message;
  });
  await step('Stop', async () => {
    await call('stop');
    await event('stopped');
  });
  await step('GetTransportInfo', async () => {
    const info = await call('getTransportInfo');
    expect(info.CurrentTransportState === 'STOPPED', info.CurrentTransportState);
    return info.CurrentTransportState;
  });
  process.exit(0);
})();
