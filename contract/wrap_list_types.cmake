# Post-processes soapcpp2's WSDL/XSD output: a bit-set enumeration is written
# as <list><restriction>...</restriction></list>, which XML Schema does not
# allow (a list item type must be an inner simpleType). Wrap the restriction
# so that schema-validating clients accept the files.
# Usage: cmake -DFILES="a.wsdl;b.xsd" -P wrap_list_types.cmake
foreach(_f ${FILES})
  file(READ ${_f} _text)
  string(REGEX REPLACE "<list>([ \t\r\n]*)<restriction" "<list><simpleType>\\1<restriction" _text "${_text}")
  string(REGEX REPLACE "</restriction>([ \t\r\n]*)</list>" "</restriction></simpleType>\\1</list>" _text "${_text}")
  file(WRITE ${_f} "${_text}")
endforeach()
