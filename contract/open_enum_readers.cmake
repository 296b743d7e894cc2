# Post-processes soapcpp2's soapC.cpp: the reader of a command status takes
# every decimal int, named or not, as that number. soapcpp2 refuses numbers
# outside the named range, but a device handler may store a status the
# contract has no text for (10 is written as "10"), and that answer must be
# read back as the number it holds. Writers are unchanged.
# Usage: cmake -DFILE=soapC.cpp -P open_enum_readers.cmake
file(READ ${FILE} _text)
set(_head "soap_s2nsc3__cmdNumStatus(struct soap *soap, const char *s, enum nsc3__cmdNumStatus *a)")
string(FIND "${_text}" "${_head}\n{" _at)
if(_at EQUAL -1)
  message(FATAL_ERROR "open_enum_readers: the reader of nsc3__cmdNumStatus was not found")
endif()
string(SUBSTRING "${_text}" ${_at} -1 _body)
string(FIND "${_body}" "\n}\n" _end)
string(SUBSTRING "${_body}" 0 ${_end} _reader)
set(_range "if (soap_s2int(soap, s, &n) || n < 0 || n > 9)")
string(FIND "${_reader}" "${_range}" _check)
if(_check EQUAL -1)
  message(FATAL_ERROR "open_enum_readers: the range test of nsc3__cmdNumStatus has changed")
endif()
string(REPLACE "${_range}" "if (soap_s2int(soap, s, &n))" _open "${_reader}")
string(REPLACE "${_reader}" "${_open}" _text "${_text}")
file(WRITE ${FILE} "${_text}")
