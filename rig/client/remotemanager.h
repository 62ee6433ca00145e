#ifndef PCIINFO_CLIENT_REMOTEMANAGER_H
#define PCIINFO_CLIENT_REMOTEMANAGER_H

#include <functional>
#include <utility>

#include "client/request.h"
#include "client/transfer.h"

namespace client {

/**
 * An object manager elsewhere, asked over HTTP. Requests block until the answer is there, and throw Failure where there
 * is none; a status of CIM is in the response, with what the object manager says of it. One request at a time; objects
 * of several threads may be used side by side.
 */
class RemoteManager : public RequestMaker {
 public:
    RemoteManager(const Server& server, const Access& access) : transfer_(server, access) {}

    /** See Transfer::whileWaiting. */
    void whileWaiting(std::function<void()> call) { transfer_.whileWaiting(std::move(call)); }

    const Server& server() const { return transfer_.server(); }

 private:
    broker::Response put(const Request& request) override;

    Transfer transfer_;
};

}  // namespace client

#endif
