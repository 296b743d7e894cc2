# Packages soapcpp2's service descriptions the way they are served under
# /wsbridge/wsdl/: one schema per namespace, each type in exactly one of
# them, and files that find each other by location.
# - The trend types, declared without a prefix in the contract, are written
#   by soapcpp2 into every schema; only the CorvaneDX copy is used on the
#   wire, so the copies in the other schemas go.
# - Every schema imports the other namespaces with a schemaLocation (the
#   file beside it), so that each .xsd compiles on its own; the import of
#   the SOAP encoding, which no schema uses, goes.
# - Each WSDL imports the five schemas instead of inlining all of them, so
#   that one client run over several WSDLs sees every type once.
# Usage: cmake -DDIR=<folder of the generated files> -P package_descriptions.cmake
set(_schemas nst1 nss1 nsdx nsc3 nsc1)
set(_ns_nst1 "http://device-ws.example.com/CorvaneTest")
set(_ns_nss1 "http://device-ws.example.com/CorvaneSubscriber")
set(_ns_nsdx "http://device-ws.example.com/CorvaneDX")
set(_ns_nsc3 "http://device-ws.example.com/CorvaneC3")
set(_ns_nsc1 "http://device-ws.example.com/Corvane")
set(_trend_types stDeviceData stSnapshot stSample stParamProperties stPeriodProperties
                 stDeviceParams)

# Removes the declaration `<kind name="name">...</kind>` (not nested in one
# of its own kind) from `text`.
function(remove_declaration text_var kind name)
  set(_text "${${text_var}}")
  string(FIND "${_text}" "<${kind} name=\"${name}\">" _begin)
  if(_begin EQUAL -1)
    return()
  endif()
  string(SUBSTRING "${_text}" ${_begin} -1 _rest)
  string(FIND "${_rest}" "</${kind}>" _end)
  if(_end EQUAL -1)
    message(FATAL_ERROR "unterminated ${kind} ${name}")
  endif()
  string(LENGTH "</${kind}>" _close)
  math(EXPR _after "${_begin} + ${_end} + ${_close}")
  string(SUBSTRING "${_text}" 0 ${_begin} _head)
  string(SUBSTRING "${_text}" ${_after} -1 _tail)
  set(${text_var} "${_head}${_tail}" PARENT_SCOPE)
endfunction()

set(_imports "")
foreach(_s ${_schemas})
  string(APPEND _imports
         "    <import namespace=\"${_ns_${_s}}\" schemaLocation=\"${_s}.xsd\"/>\n")
endforeach()

foreach(_s ${_schemas})
  set(_file ${DIR}/${_s}.xsd)
  file(READ ${_file} _text)
  if(NOT _s STREQUAL "nsdx")
    foreach(_t ${_trend_types})
      remove_declaration(_text complexType ${_t})
    endforeach()
    remove_declaration(_text simpleType enumSampleType)
  endif()
  foreach(_o ${_schemas})
    string(REPLACE "<import namespace=\"${_ns_${_o}}\"/>"
                   "<import namespace=\"${_ns_${_o}}\" schemaLocation=\"${_o}.xsd\"/>"
                   _text "${_text}")
  endforeach()
  string(REPLACE "    <import namespace=\"http://schemas.xmlsoap.org/soap/encoding/\"/>\n" ""
                 _text "${_text}")
  # Blank lines left where declarations were.
  string(REGEX REPLACE "\n[ \t]*\n([ \t]*\n)+" "\n\n" _text "${_text}")
  file(WRITE ${_file} "${_text}")
endforeach()

foreach(_w Corvane CorvaneTest CorvaneDX CorvaneC3)
  set(_file ${DIR}/${_w}.wsdl)
  file(READ ${_file} _text)
  string(FIND "${_text}" "<types>" _begin)
  string(FIND "${_text}" "</types>" _end)
  if(_begin EQUAL -1 OR _end EQUAL -1)
    message(FATAL_ERROR "${_file}: no <types> section")
  endif()
  string(SUBSTRING "${_text}" 0 ${_begin} _head)
  string(SUBSTRING "${_text}" ${_end} -1 _tail)
  file(WRITE ${_file}
       "${_head}<types>\n  <schema xmlns=\"http://www.w3.org/2001/XMLSchema\">\n${_imports}  </schema>\n${_tail}")
endforeach()
