#ifndef PCIINFO_CIMHOST_PAGE_H
#define PCIINFO_CIMHOST_PAGE_H

#include <string>

#include "cimhost/readings.h"
#include "wbem/responder.h"

namespace cimhost {

/**
 * The page as XHTML, without anything from elsewhere: the picture, a table with a filter, how old the reading is, and a
 * form that asks for a new one. Its style sheet and its script have the nonce.
 */
std::string pageText(const Readings::State& state, const std::string& nonce);

/** Whether the request is for the page: GET or HEAD of "/", and POST to "/read". */
bool concernsPage(const wbem::HttpRequest& request);

/**
 * The page, from the reading that is kept. The first one is taken for the first request, unless a page of another site
 * leads here; after that only POST, by a form of this very server, has one taken. What is not there after a second is
 * told to be under way, and the browser asked to look again. Where memory, threads or random numbers run out the answer
 * is an error (503); where there is no memory for that either, std::bad_alloc is thrown.
 */
wbem::HttpResponse answerPage(const wbem::HttpRequest& request, Readings& readings);

}  // namespace cimhost

#endif
