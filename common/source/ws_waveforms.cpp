// Waveform services: the configuration of a COMTRADE record (identification,
// timing, channel names, header facts) and the samples of one analog
// channel. Every failure is an in-band error text; the view is opened and
// closed within the request.
#include "ws_waveforms.h"

#include "comtrade.h"
#include "qel_time.h"
#include "ws_assert.h"
#include "ws_core_options.h"
#include "ws_global.h"
#include "ws_handler.h"

using toolkit::CComtradeView;
using toolkit::CT_OK;
using toolkit::ws::WS_ARGUMENT_INVALID;
using toolkit::ws::WS_NO_DATA_AVAILABLE;

namespace {

const char* const kModule = "common/source/ws_waveforms";

// Clients have always been told 2048 samples here, whatever the record
// holds; they size their first read from it. Kept on purpose.
const int kConfiguredSampleCount = 2048;

// Maps the URL and opens the record; on failure `result` holds the error.
bool openRecord(struct soap* soap, const std::string* url, const service_options_t& opts,
                CComtradeView& view, std::string& result) {
    global_data_t* g = recordOf(soap);
    WS_ASSERT(g != nullptr, kModule);
    std::string path;
    if (CComtradeView::parseUrlToFilepath(url ? *url : std::string(), g->waveFolder, path) !=
        CT_OK) {
        BnwsErrMsg(WS_ARGUMENT_INVALID, "Cannot parse URL", result, &opts);
        return false;
    }
    if (view.initialize(path, g->waveFolder) != CT_OK) {
        BnwsErrMsg(WS_NO_DATA_AVAILABLE, "Failed to parse COMTRADE data", result, &opts);
        return false;
    }
    return true;
}

}  // namespace

int nsdx__getWaveformConfig(struct soap* soap, std::string* options, std::string* url,
                            nsdx__getWaveConfigResponse& response) {
    response.analogChannelNames.clear();
    response.digitalChannelNames.clear();
    service_options_t opts;
    parseServiceOptions(options, &opts);
    CComtradeView view;
    if (!openRecord(soap, url, opts, view, response.result)) return SOAP_OK;

    toolkit::CWaveHeaderData header;
    if (!view.isHeaderLoaded() || header.fillData(view.headerHandle()) != CT_OK) {
        BnwsErrMsg(WS_NO_DATA_AVAILABLE, "Failed to parse COMTRADE header", response.result, &opts);
        return SOAP_OK;
    }
    response.eventDescr = header.eventDescription;
    response.triggerChannel = header.triggerChannel;
    response.triggerIndex = header.triggerIndex;

    toolkit::CWaveConfigData cfg;
    if (view.getConfigurationData(cfg) != CT_OK) {
        BnwsErrMsg(WS_NO_DATA_AVAILABLE, "Failed to parse COMTRADE config", response.result, &opts);
        return SOAP_OK;
    }
    response.result = "OK";
    response.stationID = cfg.stationId;
    response.deviceID = cfg.deviceId;
    response.samplingRate = cfg.samplingRate;
    response.numberSamples = kConfiguredSampleCount;
    response.startTime = qel_UNIXtoQELtime64(&cfg.startTime);
    response.triggerTime = qel_UNIXtoQELtime64(&cfg.triggerTime);
    for (const auto& ch : cfg.analog) response.analogChannelNames.push_back(ch.name);
    for (const auto& ch : cfg.digital) response.digitalChannelNames.push_back(ch.name);
    return SOAP_OK;
}

int nsdx__getWaveformData(struct soap* soap, nsdx__getWaveDataRequest* request,
                          nsdx__getWaveDataResponse& response) {
    response.data.clear();
    service_options_t opts;
    parseServiceOptions(request ? &request->options : nullptr, &opts);
    CComtradeView view;
    if (!openRecord(soap, request ? &request->url : nullptr, opts, view, response.result))
        return SOAP_OK;
    toolkit::CWaveConfigData cfg;
    if (view.getConfigurationData(cfg) != CT_OK) {
        BnwsErrMsg(WS_NO_DATA_AVAILABLE, "Failed to parse COMTRADE config", response.result, &opts);
        return SOAP_OK;
    }
    // Exact, case-sensitive match among the analog channels only: a status
    // channel's name is refused like an unknown one.
    const std::string wanted = request ? request->channel : std::string();
    const std::string* name = nullptr;
    for (const auto& ch : cfg.analog) {
        if (ch.name == wanted) {
            name = &ch.name;
            break;
        }
    }
    if (name == nullptr) {
        BnwsErrMsg(WS_ARGUMENT_INVALID, "No such Analog Channel", response.result, &opts);
        return SOAP_OK;
    }
    toolkit::CWaveSampleData samples;
    if (!view.isDataLoaded() || samples.fillData(view.dataHandle(), true) != CT_OK) {
        BnwsErrMsg(WS_NO_DATA_AVAILABLE, "Failed to parse COMTRADE data", response.result, &opts);
        return SOAP_OK;
    }
    const std::vector<float>* values = samples.analog(*name);
    if (values == nullptr) {
        BnwsErrMsg(WS_NO_DATA_AVAILABLE, "Failed to get COMTRADE channel data", response.result,
                   &opts);
        return SOAP_OK;
    }
    response.result = "OK";
    response.samplingRate = cfg.samplingRate;
    response.startTime = qel_UNIXtoQELtime64(&cfg.startTime);
    response.triggerTime = qel_UNIXtoQELtime64(&cfg.triggerTime);
    response.triggerIndex = cfg.triggerIndex;
    response.data.assign(values->begin(), values->end());
    return SOAP_OK;
}
