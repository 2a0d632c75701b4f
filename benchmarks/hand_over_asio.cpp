// SPDX-License-Identifier: MIT
// Handing work to another thread by Asio's thread pool.
#include "hand_over.h"
#include "peers/asio_worker.h"

namespace {

const bool areRegistered = [] {
  HandOver::RegisterPeer<AsioWorker>("asio");
  HandOver::RegisterFutures<AsioWorker>("RunAsync/asio");
  return true;
}();

}  // namespace
