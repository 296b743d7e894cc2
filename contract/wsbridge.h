// The gateway's SOAP contract: namespace table, service bindings and the
// imports of every operation and message. soapcpp2 turns it into the
// serialisers, the dispatcher and the WSDL/XSD files (see CMakeLists.txt).
// nsdx and nsc3 messages have the rpc/literal shape: the operation element
// holds the parameters as unqualified children, the response element the
// result fields. soapcpp2 generates the same code for that shape under
// "rpc" and under "document" with unqualified forms; "document" is chosen
// because its WSDL declares the wrapper elements with their sequences
// (maxOccurs="unbounded"), while rpc message parts cannot repeat, so WSDL
// clients could not read a reply with two devices, events or samples.
//
// soapcpp2 orders the namespace table by first use of each prefix in a class
// or operation, so the import order below fixes the table order
// nst1, nss1, nsdx, nsc3, nsc1 (after SOAP-ENV, SOAP-ENC, xsi, xsd).

#import "stlvector.h"

//gsoap nst1 service name:     CorvaneTest
//gsoap nst1 service type:     CorvaneTestSoap
//gsoap nst1 service port:     http://localhost/wsbridge
//gsoap nst1 service namespace: http://device-ws.example.com/CorvaneTest
//gsoap nst1 service style:    document
//gsoap nst1 service encoding: literal
//gsoap nst1 schema namespace: http://device-ws.example.com/CorvaneTest
//gsoap nst1 schema form:      qualified

//gsoap nss1 schema namespace: http://device-ws.example.com/CorvaneSubscriber
//gsoap nss1 schema form:      qualified

//gsoap nsdx service name:     CorvaneDX
//gsoap nsdx service type:     CorvaneDXPortType
//gsoap nsdx service port:     http://localhost/wsbridge
//gsoap nsdx service namespace: http://device-ws.example.com/CorvaneDX
//gsoap nsdx service style:    document
//gsoap nsdx service encoding: literal
//gsoap nsdx schema namespace: http://device-ws.example.com/CorvaneDX
//gsoap nsdx schema form:      unqualified

//gsoap nsc3 service name:     CorvaneC3
//gsoap nsc3 service type:     CorvaneC3PortType
//gsoap nsc3 service port:     http://localhost/wsbridge
//gsoap nsc3 service namespace: http://device-ws.example.com/CorvaneC3
//gsoap nsc3 service style:    document
//gsoap nsc3 service encoding: literal
//gsoap nsc3 schema namespace: http://device-ws.example.com/CorvaneC3
//gsoap nsc3 schema form:      unqualified

//gsoap nsc1 service name:     Corvane
//gsoap nsc1 service type:     CorvaneSoap
//gsoap nsc1 service port:     http://localhost/wsbridge
//gsoap nsc1 service namespace: http://device-ws.example.com/Corvane
//gsoap nsc1 service style:    document
//gsoap nsc1 service encoding: literal
//gsoap nsc1 schema namespace: http://device-ws.example.com/Corvane
//gsoap nsc1 schema form:      qualified

#import "nsc1_enums.h"
#import "nst1_nodes.h"
#import "nss1_types.h"
#import "nsdx_explorer.h"
#import "nsc3_commands.h"
#import "nsc1_types.h"
#import "nsc1_core.h"
