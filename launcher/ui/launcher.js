// The launcher's page: sign-in, the account's builds with their news, and the road from Play to
// a running game. It speaks to the program only through `engine` (commands and three events).
'use strict';

const $ = (id) => document.getElementById(id);

// What the page keeps across runs. Never a password.
const store = {
  get(key) { return localStorage.getItem('zandor.' + key) || ''; },
  set(key, value) {
    if (value) localStorage.setItem('zandor.' + key, value);
    else localStorage.removeItem('zandor.' + key);
  },
};

// ---------------------------------------------------------------------------------------------
// Jobs. The launcher runs one at a time, so the page runs them one after another: a job asked for
// while another runs waits its turn. A job resolves to { ok, text }, or { busy: true } when the
// launcher refused to start it.

const jobs = {
  chain: Promise.resolve(),
  waiting: new Map(),  // job number -> resolve
  early: new Map(),    // outcomes that came before their job's number
  running: '',         // name of the command whose outcome is awaited
  onProgress: null,
};

engine.on('async_result', (id, ok, text) => {
  const outcome = { ok, text };
  const resolve = jobs.waiting.get(id);
  if (!resolve) { jobs.early.set(id, outcome); return; }
  jobs.waiting.delete(id);
  resolve(outcome);
});

engine.on('asyncProgress', (text) => {
  if (!jobs.running || !jobs.onProgress) return;
  try { jobs.onProgress(JSON.parse(text)); } catch (e) { console.error('bad progress: ' + e); }
});

engine.on('sanityTestFailed', () => { $('sanity-warning').hidden = !jobs.running; });

// `onStart` runs when the job is really asked for, after any job before it has ended.
function runJob(name, args = [], onStart = null) {
  const outcome = jobs.chain.then(() => startJob(name, args, onStart));
  jobs.chain = outcome;
  return outcome;
}

async function startJob(name, args, onStart) {
  if (onStart) onStart();
  let id;
  try {
    id = await engine.call(name, ...args);
  } catch (e) {
    return { ok: false, text: JSON.stringify({ Message: String(e.message || e) }) };
  }
  if (!id) return { ok: false, busy: true, text: '' };
  jobs.running = name;
  const outcome = await new Promise((resolve) => {
    if (jobs.early.has(id)) {
      resolve(jobs.early.get(id));
      jobs.early.delete(id);
    } else {
      jobs.waiting.set(id, resolve);
    }
  });
  jobs.running = '';
  jobs.onProgress = null;
  $('sanity-warning').hidden = true;
  return outcome;
}

function parseJson(text) {
  try { return JSON.parse(text); } catch (e) { return null; }
}

// The sentence a failed job's text carries. A service's refusal arrives as its own Json error
// inside the launcher's, and the player should read the service's words.
function messageOf(outcome) {
  if (outcome.busy) return 'The launcher is busy with another task. Try again in a moment.';
  const error = parseJson(outcome.text);
  let message = error && typeof error.Message === 'string' ? error.Message : '';
  const inner = parseJson(message);
  if (inner && typeof inner.Message === 'string') message = inner.Message;
  if (!message || message.trim().startsWith('{') || message.trim().startsWith('<')) {
    return 'Something went wrong. Try again in a moment.';
  }
  return /[.!?]$/.test(message) ? message : message + '.';
}

// True when the failure is the service's silence rather than its answer.
function serviceUnreachable(outcome) {
  if (outcome.busy) return false;
  const error = parseJson(outcome.text);
  if (!error || error.ErrorCode !== -1) return false;
  const inner = parseJson(error.Message);
  return !(inner && typeof inner === 'object');
}

// ---------------------------------------------------------------------------------------------
// Start: the launcher's own update first, then a remembered session if the player allowed one.

function start() {
  applyStoredDownloadLimit();
  $('version').textContent = 'Launcher ' + (window.gEngineParams && gEngineParams.launcher_build_version || '');
  $('dev-badge').hidden = !(window.gEngineParams && gEngineParams.devmode);
  bindControls();
  showSignIn();
  // The engine may refuse focus while the page is still loading; ask again once it has loaded.
  window.addEventListener('load', () => { if (document.activeElement === document.body) $('name').focus(); });
  checkLauncherUpdate();
  if (store.get('account') && store.get('ticket')) resumeSession(store.get('account'), store.get('ticket'));
}

function bindControls() {
  $('signin-form').addEventListener('submit', (e) => { e.preventDefault(); signIn(); });
  $('remember').addEventListener('change', () => {
    $('stay').disabled = !$('remember').checked;
    if (!$('remember').checked) $('stay').checked = false;
  });
  $('forgot-open').addEventListener('click', showForgot);
  $('forgot-back').addEventListener('click', () => showSignIn());
  $('forgot-form').addEventListener('submit', (e) => { e.preventDefault(); sendRecoveryMail(); });
  $('play-offline').addEventListener('click', playOffline);
  $('library-offline').addEventListener('click', playOffline);
  $('sign-out').addEventListener('click', signOut);
  $('profile').addEventListener('click', () => engine.call('viewProfile'));
  $('settings-open').addEventListener('click', showSettings);
  $('settings-close').addEventListener('click', hideSettings);
  $('settings-form').addEventListener('submit', (e) => { e.preventDefault(); saveSettings(); });
  $('play').addEventListener('click', play);
  $('verify').addEventListener('click', verify);
  $('cancel').addEventListener('click', () => stopUpdate(false));
  $('pause').addEventListener('click', () => stopUpdate(true));
  $('retry').addEventListener('click', () => library.retry && library.retry());
  $('view-log').addEventListener('click', () => engine.call('viewLog'));
  $('news').addEventListener('load', () => $('news').classList.toggle('loaded', !!$('news').getAttribute('src')));
  $('quit').addEventListener('click', () => engine.call('appExit'));
  document.addEventListener('keydown', (e) => { if (e.key === 'Escape') hideSettings(); });
}

async function checkLauncherUpdate() {
  const outcome = await runJob('checkLauncher', [], () => setSignInStatus('Checking for launcher updates…'));
  setSignInStatus('');
  if (outcome.ok && outcome.text) showLaunching('A launcher update was downloaded. The launcher closes now.');
  else if (!outcome.ok && !outcome.busy) console.warn('launcher update failed: ' + messageOf(outcome));
}

// ---------------------------------------------------------------------------------------------
// Sign-in screen.

function showScreen(name) {
  $('app').dataset.screen = name;
  $('signin').hidden = name !== 'signin';
  $('library').hidden = name !== 'library';
  $('account').hidden = name !== 'library';
}

function showSignIn() {
  showScreen('signin');
  $('forgot-form').hidden = true;
  $('signin-form').hidden = false;
  const remembered = store.get('account');
  if (remembered && !$('name').value) $('name').value = remembered;
  $('remember').checked = !!store.get('remember');
  $('stay').disabled = !$('remember').checked;
  $('stay').checked = $('remember').checked && !!store.get('stay');
  setSignInError('');
  setSignInBusy(false);
  $('name').focus();
}

function setSignInStatus(text) { $('signin-status').textContent = text; }

function setSignInError(text) {
  $('signin-error').textContent = text;
  $('signin-error').hidden = !text;
  if (!text) $('offline').hidden = true;
}

function setSignInBusy(busy) {
  for (const id of ['name', 'password', 'remember', 'signin-button', 'forgot-open']) $(id).disabled = busy;
  $('stay').disabled = busy || !$('remember').checked;
  $('signin-button').textContent = busy ? 'Signing in…' : 'Sign in';
}

async function signIn() {
  const name = $('name').value.trim();
  const password = $('password').value;
  if (!name || !password) {
    setSignInError(name ? 'Enter your password.' : 'Enter your account name.');
    $(name ? 'password' : 'name').focus();
    return;
  }
  setSignInError('');
  setSignInBusy(true);
  const outcome = await runJob('login', [name, password], () => setSignInStatus('Signing in…'));
  $('password').value = '';
  setSignInStatus('');
  if (!outcome.ok) return signInFailed(outcome);
  const answer = parseJson(outcome.text) || {};
  rememberAccount(name, answer.SessionTicket || '');
  loadLibrary({ name, displayName: answer.DisplayName || answer.ZandorName || name });
}

async function signInFailed(outcome) {
  setSignInBusy(false);
  const unreachable = serviceUnreachable(outcome);
  setSignInError(unreachable ? "Can't reach the sign-in service. Check your connection and try again."
                             : messageOf(outcome));
  $('password').focus();
  if (unreachable) $('offline').hidden = !(await engine.call('checkOfflineAvailable'));
}

function rememberAccount(name, ticket) {
  const remember = $('remember').checked;
  const stay = remember && $('stay').checked;
  store.set('remember', remember ? '1' : '');
  store.set('stay', stay ? '1' : '');
  store.set('account', remember ? name : '');
  store.set('ticket', stay ? ticket : '');
}

async function resumeSession(name, ticket) {
  setSignInBusy(true);
  const outcome = await runJob('loginWithTicket', [name, ticket], () => setSignInStatus('Signing in…'));
  setSignInStatus('');
  if (outcome.ok) {
    const answer = parseJson(outcome.text) || {};
    return loadLibrary({ name, displayName: answer.DisplayName || answer.ZandorName || name });
  }
  if (serviceUnreachable(outcome)) return signInFailed(outcome);
  store.set('ticket', '');
  setSignInBusy(false);
  setSignInError('Your session has ended. Sign in again.');
  $('password').focus();
}

function showForgot() {
  $('signin-form').hidden = true;
  $('forgot-form').hidden = false;
  $('forgot-result').textContent = '';
  $('forgot-result').className = 'status';
  $('email').focus();
}

async function sendRecoveryMail() {
  const email = $('email').value.trim();
  const result = $('forgot-result');
  if (!email) { result.textContent = 'Enter your e-mail address.'; $('email').focus(); return; }
  $('forgot-send').disabled = true;
  result.className = 'status';
  const outcome = await runJob('getAccountInfo', [email], () => { result.textContent = 'Sending…'; });
  $('forgot-send').disabled = false;
  result.className = outcome.ok ? 'status success' : 'status error';
  result.textContent = outcome.ok ? 'We sent a mail to ' + email + '. Follow its link to choose a new password.'
                                  : messageOf(outcome);
}

async function signOut() {
  await runJob('logout');
  store.set('ticket', '');
  library.streams = [];
  $('news').removeAttribute('src');
  showSignIn();
}

// ---------------------------------------------------------------------------------------------
// Library screen: the account's builds, the chosen one's news, and Play.

const library = {
  streams: [],
  selected: null,
  retry: null,
  pausing: false,  // the running update's stop was a pause
};

async function loadLibrary(account) {
  $('display-name').textContent = account.displayName;
  $('avatar').textContent = account.displayName.slice(0, 1).toUpperCase();
  showScreen('library');
  setLibraryState('busy');
  showLibraryMessage('Loading your builds…');
  const outcome = await runJob('listStreams');
  if (!outcome.ok) return listFailed(outcome, account);
  const answer = parseJson(outcome.text) || {};
  library.streams = Array.isArray(answer.Streams) ? answer.Streams : [];
  renderStreams();
  const remembered = library.streams.find((s) => s.StreamName === store.get('stream'));
  await selectStream(remembered || library.streams[0] || null);
  setLibraryState('ready');
  showLibraryMessage(library.streams.length ? '' : 'Your account has no builds to play yet.');
}

async function listFailed(outcome, account) {
  library.streams = [];
  renderStreams();
  setLibraryState('failed');
  showLibraryMessage("Couldn't load your builds. " + messageOf(outcome), () => loadLibrary(account));
  $('library-offline').hidden = !(await engine.call('checkOfflineAvailable'));
}

function renderStreams() {
  const list = $('stream-list');
  list.textContent = '';
  for (const stream of library.streams) {
    const item = document.createElement('li');
    const button = document.createElement('button');
    button.type = 'button';
    button.className = 'stream';
    button.dataset.stream = stream.StreamName;
    const name = document.createElement('span');
    name.className = 'stream-name';
    name.textContent = stream.StreamName;
    const description = document.createElement('span');
    description.className = 'stream-description';
    description.textContent = stream.Description || '';
    button.append(name, description);
    button.addEventListener('click', () => { if (!jobs.running) selectStream(stream); });
    item.append(button);
    list.append(item);
  }
}

async function selectStream(stream) {
  library.selected = stream;
  for (const button of document.querySelectorAll('#stream-list .stream')) {
    button.classList.toggle('selected', !!stream && button.dataset.stream === stream.StreamName);
  }
  $('selected-name').textContent = stream ? stream.StreamName : '';
  $('selected-build').textContent = stream && stream.BuildId ? 'Build ' + stream.BuildId : '';
  // Never enabled while a job runs (the library loads its first build during sign-in's job).
  $('play').disabled = $('verify').disabled = !stream || $('library').dataset.state === 'busy';
  $('news').classList.remove('loaded');
  $('news-empty').textContent = stream ? 'Loading news…' : 'Pick a build to see its news.';
  if (!stream) { $('news').removeAttribute('src'); return; }
  store.set('stream', stream.StreamName);
  $('news').src = await engine.call('makeStreamNewsUrl', stream.StreamName);
}

// ready: Play may be pressed; busy: a job runs; failed: the last action failed and may be retried.
function setLibraryState(state) {
  $('library').dataset.state = state;
  const busy = state === 'busy';
  for (const button of document.querySelectorAll('#stream-list .stream')) button.disabled = busy;
  $('play').disabled = busy || !library.selected;
  $('verify').disabled = busy || !library.selected;
  $('verify').hidden = busy;
  $('sign-out').disabled = busy;
  $('settings-open').disabled = busy;
  if (!busy) {
    $('progress').hidden = true;
    $('cancel').hidden = true;
    $('pause').hidden = true;
    $('play').textContent = 'Play';
  }
}

function showLibraryMessage(text, retry = null) {
  $('library-message').hidden = !text;
  $('library-message').classList.toggle('error', !!retry);
  $('library-message-text').textContent = text;
  library.retry = retry;
  $('retry').hidden = !retry;
  $('retry').textContent = 'Try again';
  $('library-offline').hidden = true;
  $('selected').hidden = !!text;
}

function rememberedBuild(stream) { return store.get('build.' + stream.StreamName); }

// Brings the chosen build up to date, then starts it. The build is remembered only once its
// update has succeeded, so that a failed or cancelled update is fully checked next time.
async function play() {
  const stream = library.selected;
  if (!stream || !(await updateStream(stream, rememberedBuild(stream), play))) return;
  setLibraryState('busy');
  showProgressPhase('Starting the game…');
  $('play').textContent = 'Starting…';
  const outcome = await runJob('launch', [stream.StreamName, store.get('gameArgs')]);
  if (!outcome.ok) return jobFailed(outcome, play);
  showLaunching('The game is starting…');
}

async function verify() {
  const stream = library.selected;
  const outcome = stream && (await updateStream(stream, '', verify));
  if (!outcome) return;
  showLibraryMessage(outcome.text === 'updateComplete' ? 'Files of ' + stream.StreamName + ' were repaired and verified.'
                                                       : 'All files of ' + stream.StreamName + ' are in order.');
}

// The job's outcome on success, else null once the failure is shown.
async function updateStream(stream, minimalBuild, retry) {
  setLibraryState('busy');
  showLibraryMessage('');
  showProgressPhase('Checking for updates…');
  $('play').textContent = 'Updating…';
  for (const id of ['cancel', 'pause']) {
    $(id).hidden = false;
    $(id).disabled = false;
  }
  library.pausing = false;
  const outcome = await runJob('checkManifest', [stream.StreamName, minimalBuild], () => { jobs.onProgress = renderProgress; });
  if (!outcome.ok) {
    jobFailed(outcome, retry);
    return null;
  }
  store.set('build.' + stream.StreamName, stream.BuildId);
  setLibraryState('ready');
  return outcome;
}

// Pause is a cancel that offers to resume: what has arrived stays on disk, and the next run
// fetches only the rest.
function stopUpdate(pause) {
  // A cancel with no job running would stall the launcher, so it is sent only while one runs.
  if (jobs.running !== 'checkManifest') return;
  library.pausing = pause;
  $('cancel').disabled = true;
  $('pause').disabled = true;
  $('progress-phase').textContent = pause ? 'Pausing…' : 'Cancelling…';
  engine.call('asyncCancel');
}

function jobFailed(outcome, retry) {
  const message = parseJson(outcome.text);
  if (message && message.Message === 'canceled') {
    setLibraryState('ready');
    if (!library.pausing) return showLibraryMessage('Update cancelled. Press Play to pick it up again.');
    showLibraryMessage('Update paused. What has arrived is kept.', retry);
    $('library-message').classList.remove('error');
    $('retry').textContent = 'Resume';
    return;
  }
  setLibraryState('failed');
  showLibraryMessage(messageOf(outcome), retry);
}

function showProgressPhase(text) {
  $('selected').hidden = true;
  $('progress').hidden = false;
  $('progress-phase').textContent = text;
  $('progress-percent').textContent = '';
  $('progress-fill').style.width = '';
  $('progress').classList.add('indeterminate');
  for (const id of ['progress-bytes', 'progress-speed', 'progress-eta']) $(id).textContent = '';
}

function renderProgress(doc) {
  if ($('cancel').disabled) return;  // cancelling: the job's last phase no longer matters
  $('progress-phase').textContent = doc.message || '';
  const download = doc.download;
  let fraction = -1;
  if (download && download.totalExpectedBytes > 0) fraction = download.totalBytesReceived / download.totalExpectedBytes;
  else if (doc.total > 0) fraction = doc.index / doc.total;
  $('progress').classList.toggle('indeterminate', fraction < 0);
  const percent = Math.max(0, Math.min(100, Math.floor(fraction * 100)));
  $('progress-fill').style.width = fraction < 0 ? '' : percent + '%';
  $('progress-percent').textContent = fraction < 0 ? '' : percent + '%';
  $('progress-bytes').textContent = download ? download.bytesProgress : (doc.total > 0 ? doc.index + ' / ' + doc.total : '');
  $('progress-speed').textContent = download ? download.bytesPerSecond : '';
  $('progress-eta').textContent = download ? timeLeft(download) : '';
}

function timeLeft(download) {
  const seconds = Math.round(download.etaSeconds);
  if (!(seconds >= 0) || !isFinite(seconds) || download.bytesPerSecond === 'Calculating ...') return '';
  if (seconds < 60) return seconds + ' s left';
  if (seconds < 3600) return Math.floor(seconds / 60) + ' min ' + (seconds % 60) + ' s left';
  return Math.floor(seconds / 3600) + ' h ' + Math.floor((seconds % 3600) / 60) + ' min left';
}

async function playOffline() {
  for (const id of ['play-offline', 'library-offline']) $(id).disabled = true;
  const outcome = await runJob('launchOffline', [store.get('gameArgs')]);
  for (const id of ['play-offline', 'library-offline']) $(id).disabled = false;
  if (outcome.ok) return showLaunching('The game is starting…');
  if ($('app').dataset.screen === 'signin') setSignInError(messageOf(outcome));
  else showLibraryMessage(messageOf(outcome), playOffline);
}

function showLaunching(text) {
  $('launching-text').textContent = text;
  $('launching').hidden = false;
}

// ---------------------------------------------------------------------------------------------
// Settings: extra arguments for the game, kept across runs.

function showSettings() {
  $('game-args').value = store.get('gameArgs');
  $('download-limit').value = store.get('downloadLimit');
  $('settings').hidden = false;
  $('game-args').focus();
}

function hideSettings() { $('settings').hidden = true; }

function saveSettings() {
  store.set('gameArgs', $('game-args').value.trim());
  const limit = parseFloat($('download-limit').value);
  store.set('downloadLimit', limit > 0 ? String(limit) : '');
  engine.call('setDownloadLimit', limit > 0 ? Math.round(limit * 1e6) : 0).catch(() => {});
  hideSettings();
}

// Megabytes a second as the player gave them; the launcher counts bytes. With nothing stored the
// launcher's own setting (its --max-download-rate) stays.
function applyStoredDownloadLimit() {
  const limit = parseFloat(store.get('downloadLimit'));
  if (limit > 0) engine.call('setDownloadLimit', Math.round(limit * 1e6)).catch(() => {});
}

start();
