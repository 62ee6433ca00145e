// Requests to one object manager. Tests: tests/e2e/remote.py.
#include "client/remotemanager.h"

namespace client {

broker::Response RemoteManager::put(const Request& request) {
    transfer_.prepare(request);
    return transfer_.answer(curl_easy_perform(transfer_.handle()));
}

}  // namespace client
