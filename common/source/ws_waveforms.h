// Waveform services: nsdx:getWaveformConfig and nsdx:getWaveformData over
// the COMTRADE records of the wave folder (option -w), read through
// toolkit::CComtradeView. The handlers themselves are declared by soapH.h.
#pragma once

#include <string>

#include "soapH.h"
