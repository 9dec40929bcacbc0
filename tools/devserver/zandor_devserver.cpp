// zandor-devserver: the launcher's services on one port, for development and the demo.
#include <signal.h>

#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "devserver.h"
#include "ka/logsink.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: zandor-devserver CONFIG.json\n");
    return 2;
  }
  // SIGINT and SIGTERM are taken by a thread of their own, which stops the server cleanly.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  ka::LogSinkStream console(std::cout);
  try {
    devserver::DevServer server(devserver::readConfig(argv[1]));
    server.bind();
    std::printf("zandor-devserver listening on %s\n", server.baseUrl().c_str());
    std::fflush(stdout);
    std::thread stopper([&] {
      int signal = 0;
      sigwait(&stopSignals, &signal);
      server.stop();
    });
    server.serve();
    pthread_kill(stopper.native_handle(), SIGTERM);  // ends the wait if the server stopped by itself
    stopper.join();
    std::printf("zandor-devserver stopped\n");
  } catch (std::exception const& e) {
    std::fprintf(stderr, "zandor-devserver: %s\n", e.what());
    return 1;
  }
  return 0;
}
