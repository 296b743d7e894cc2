// Waveform services: nsdx:getWaveformConfig and nsdx:getWaveformData over
// the COMTRADE records of the wave folder (option -w), read through
// toolkit::CComtradeView. The handlers themselves are declared by soapH.h.
#pragma once

#include <string>

#include "soapH.h"

// The text as the engine must hold it to send it right: the reader gives
// UTF-8, and an engine without SOAP_C_UTFSTRING takes each byte of a string
// as one ISO-8859-1 character, so there the text is narrowed (characters
// beyond U+00FF become '?'). Request texts arrive in the same form, so
// channel names are compared in it too.
std::string waveWireText(const struct soap* soap, const std::string& utf8);
