// What every service handler starts from: the process record behind its SOAP
// context and strings owned by the request's context (freed with the
// request). One copy for all services.
#pragma once

#include <string>

#include "soapH.h"
#include "ws_assert.h"
#include "ws_global.h"

// The process record the gateway set as the context's user pointer; null
// for a null context.
inline global_data_t* recordOf(struct soap* soap) {
    return soap ? static_cast<global_data_t*>(soap->user) : nullptr;
}

// The record of a handler that needs the store: a missing record or a
// closed store is a broken invariant and ends the process with an assertion
// naming `module`. The condition texts ("glptr != 0") are part of the
// assertion message that operators see: keep the variable name.
inline global_data_t* handlerRecord(struct soap* soap, const char* module) {
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr != 0, module);
    WS_ASSERT(glptr->cds.is_initialized(), module);
    return glptr;
}

// A string holding `text`, allocated in the request's context.
inline std::string* newString(struct soap* soap, const std::string& text) {
    std::string* s = soap_new_std__string(soap);
    if (s) *s = text;
    return s;
}
