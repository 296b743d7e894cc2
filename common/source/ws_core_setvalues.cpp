// Multi-value writes (setValues, and the test-mode SetLeaves and CreateNode):
// every pair follows the single-value rules, then all accepted leaves are
// written in one store batch. One reply per path, in request order.
#include "soapH.h"
#include "ws_assert.h"
#include "ws_core_write.h"
#include "ws_global.h"
#include "ws_handler.h"

using toolkit::CElement;
using namespace toolkit::ws;

namespace {

// True when every path that normalises may be written by this client. Done
// before anything else so that a refused request writes nothing at all.
bool allWritesAuthorized(toolkit::CCds& cds, bool testMode, const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        CPath cpath(path);
        if (cpath.normalize() == 0 && !cpath.is_cds_write_authorized(cds, testMode)) return false;
    }
    return true;
}

}  // namespace

int dsv_testPathsValues(const std::vector<std::string>& paths,
                        const std::vector<std::string>& values, tk_string& Reply,
                        const service_options_t* options) {
    if (paths.empty()) {
        BnwsErrMsg(WS_NO_PATHS_PROVIDED, "No Paths provided", Reply, options);
        return 1;
    }
    if (values.empty()) {
        BnwsErrMsg(WS_BAD_VALUE_FORMAT, "No Values provided", Reply, options);
        return 1;
    }
    if (paths.size() != values.size()) {
        BnwsErrMsg(WS_ARGUMENT_INVALID, "Mismatched array sizes", Reply, options);
        return 1;
    }
    return 0;
}

int dsv_setValues(struct soap* soap, bool testMode, const service_options_t* options,
                  const std::vector<std::string>& paths, const std::vector<std::string>& values,
                  std::vector<std::string>& replies, size_t* failures) {
    size_t failedCount = 0;
    global_data_t* glptr = recordOf(soap);
    WS_ASSERT(glptr != 0, WS_CORE_MODULE);
    WS_ASSERT(glptr->cds.is_initialized(), WS_CORE_MODULE);
    WS_ASSERT(paths.size() == values.size(), WS_CORE_MODULE);
    replies.clear();
    if (!allWritesAuthorized(glptr->cds, testMode, paths)) return 401;

    WriteContext ctx{glptr->cds,
                     testMode,
                     options,
                     dsv_persistFlag(options),
                     dsv_writeSource(),
                     true,
                     writeStamp(glptr->clock)};
    replies.resize(paths.size());
    std::vector<tk_string> writePaths;
    std::vector<CElement> elements;
    std::vector<size_t> replyIndex;  // request position of each batched leaf
    for (size_t i = 0; i < paths.size(); ++i) {
        LeafWrite write;
        LeafWriteOutcome outcome = prepareLeafWrite(ctx, paths[i], values[i], write, replies[i]);
        if (outcome == LEAF_WRITE_FAILED) ++failedCount;
        if (outcome != LEAF_WRITE_READY) continue;  // reply already set (or empty)
        writePaths.push_back(write.path);
        elements.push_back(write.element);
        replyIndex.push_back(i);
        replies[i] = write.replyOnSuccess;
    }
    if (writePaths.empty()) {
        if (failures) *failures = failedCount;
        return 0;
    }

    std::vector<dsv_tribool_t> persist(writePaths.size(), ctx.persist);
    std::vector<api_status_t> statuses;
    int result = ctx.cds.set_leaves(writePaths, elements, persist, statuses, ctx.source);
    tk_string failed;
    BnwsErrMsg(WS_WRITE_FAILED, "CDS write access failed", failed, options);
    for (size_t k = 0; k < replyIndex.size(); ++k) {
        bool ok = result == 0 && k < statuses.size() && statuses[k].ok();
        if (ok) continue;
        replies[replyIndex[k]] = failed;
        ++failedCount;
    }
    if (failures) *failures = failedCount;
    return 0;
}

int dsv_serveSetValues(struct soap* soap, bool testMode, const std::string* optionsText,
                       const std::vector<std::string>* paths,
                       const std::vector<std::string>* values, std::vector<std::string>& replies) {
    service_options_t options;
    parseServiceOptions(optionsText, &options);
    const std::vector<std::string> none;
    tk_string reply;
    if (dsv_testPathsValues(paths ? *paths : none, values ? *values : none, reply, &options) != 0) {
        replies.assign(1, reply);
        return SOAP_OK;
    }
    return dsv_setValues(soap, testMode, &options, *paths, *values, replies);
}

SOAP_FMAC5 int SOAP_FMAC6 __nsc1__setValues(struct soap* soap, _nsc1__setValues* request,
                                            _nsc1__setValuesResponse& response) {
    return dsv_serveSetValues(soap, false, request ? request->options : nullptr,
                              request ? &request->paths : nullptr,
                              request ? &request->values : nullptr, response.setValuesResult);
}
