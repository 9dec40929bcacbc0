#include "webui/page_script.h"

#include <cstdio>
#include <random>

namespace webui {

std::string pageScript(std::string const& secret) {
  return R"JS((function () {
  'use strict';
  const secret = ')JS" + secret + R"JS(';
  const channel = window.webkit.messageHandlers.engine;
  const post = (message) => { message.secret = secret; channel.postMessage(JSON.stringify(message)); };
  const handlers = new Map();
  const pending = new Map();
  let nextCall = 1;
  const engine = {
    call(name, ...args) {
      return new Promise((resolve, reject) => {
        const id = nextCall++;
        pending.set(id, { resolve, reject });
        post({ id, name, args });
      });
    },
    on(name, handler) {
      if (!handlers.has(name)) handlers.set(name, []);
      handlers.get(name).push(handler);
    },
    off(name, handler) {
      if (handler === undefined) handlers.delete(name);
      else if (handlers.has(name)) handlers.set(name, handlers.get(name).filter((h) => h !== handler));
    },
    _settle(id, ok, value) {
      const call = pending.get(id);
      if (!call) return;
      pending.delete(id);
      if (ok) call.resolve(value); else call.reject(new Error(value));
    },
    _trigger(name, args) {
      for (const handler of (handlers.get(name) || []).slice()) {
        try { handler(...args); } catch (e) { console.error('engine.on("' + name + '") handler failed: ' + e); }
      }
    },
  };
  Object.freeze(engine);
  Object.defineProperty(window, 'engine', { value: engine, enumerable: true });
  for (const level of ['debug', 'log', 'info', 'warn', 'error']) {
    const original = console[level].bind(console);
    console[level] = (...args) => { post({ log: level, text: args.map(String).join(' ') }); original(...args); };
  }
  window.addEventListener('error', (e) => {
    post({ log: 'error', text: e.message + ' (' + e.filename + ':' + e.lineno + ')' });
  });
})();
)JS";
}

std::string makeSecret() {
  std::random_device random;
  std::string secret;
  for (int i = 0; i < 4; ++i) {
    char word[9];
    std::snprintf(word, sizeof word, "%08x", unsigned(random()));
    secret += word;
  }
  return secret;
}

}  // namespace webui
