# Post-processes soapcpp2's output so that a command status is read as every
# decimal int, named or not: a device handler may store a status the contract
# has no text for (10 is written as "10"), and that answer must be read back
# as the number it holds. soapcpp2 refuses numbers outside the named range
# and declares the enum without a fixed type, which could not hold them all;
# the enum gets the underlying type int (soapStub.h) and its reader loses the
# range test (soapC.cpp). Writers are unchanged. Fails when soapcpp2's output
# no longer has the expected shape.
# Usage: cmake -DSTUB=soapStub.h -DCODE=soapC.cpp -P open_enum_readers.cmake

# Replaces `from` by `to` in FILE, where it occurs between `anchor` and the
# next `end` (one declaration or function).
function(replace_once file anchor end from to)
  file(READ ${file} _text)
  string(FIND "${_text}" "${anchor}" _at)
  if(_at EQUAL -1)
    message(FATAL_ERROR "open_enum_readers: '${anchor}' not found in ${file}")
  endif()
  string(SUBSTRING "${_text}" 0 ${_at} _head)
  string(SUBSTRING "${_text}" ${_at} -1 _tail)
  string(FIND "${_tail}" "${end}" _stop)
  string(FIND "${_tail}" "${from}" _hit)
  if(_hit EQUAL -1 OR _stop EQUAL -1 OR _hit GREATER _stop)
    message(FATAL_ERROR "open_enum_readers: '${from}' not found after '${anchor}' in ${file}")
  endif()
  string(SUBSTRING "${_tail}" 0 ${_hit} _before)
  string(LENGTH "${from}" _len)
  math(EXPR _rest "${_hit} + ${_len}")
  string(SUBSTRING "${_tail}" ${_rest} -1 _after)
  file(WRITE ${file} "${_head}${_before}${to}${_after}")
endfunction()

replace_once(${STUB} "#ifndef SOAP_TYPE_nsc3__cmdNumStatus\n" "#endif"
             "enum nsc3__cmdNumStatus {" "enum nsc3__cmdNumStatus : int {")
replace_once(${CODE} "soap_s2nsc3__cmdNumStatus(struct soap *soap, const char *s" "\n}\n"
             "if (soap_s2int(soap, s, &n) || n < 0 || n > 9)" "if (soap_s2int(soap, s, &n))")
