// Temporary store and handler-call helpers shared by the service tests.
#include "service_store.h"

using toolkit::CElement;

const timeval kM1Stamp = {1700000000, 123456};

void ServiceStore::SetUp() {
    StoreFixture::SetUp();
    if (HasFatalFailure()) return;

    for (const char* role : {"admin", "operator", "viewer"})
        leaf(std::string("/Software/Security/Users/") + role + "/Role",
             CElement::from_string(role));
    leaf("/Software/Security/Secret/Value", CElement::from_string("hidden"));

    leaf("/Meters/M1/Value", CElement(CElement::from_real(230.5), kM1Stamp));
    leaf("/Meters/M1/Writable", CElement::from_bool(true));
    leaf("/Meters/M1/Units", CElement::from_string("V"));
    leaf("/Meters/M1/.HiCriticalLimit", CElement::from_float(250.5));

    leaf("/Meters/Count/Value", CElement::from_int(42));
    leaf("/Meters/Count/Writable", CElement::from_bool(false));
    leaf("/Meters/Count/.HiCriticalLimit", CElement::from_float(100));

    leaf("/Meters/Setpoint/Value", CElement::from_int(10));
    leaf("/Meters/Setpoint/Writable", CElement::from_bool(true));

    leaf("/Meters/Breaker/ValueType", CElement::from_string("Multistate"));
    leaf("/Meters/Breaker/PossibleValues", CElement::from_string("Open;Closed;Tripped"));
    leaf("/Meters/Breaker/Value", CElement::from_uint(1));
    leaf("/Meters/Breaker/Writable", CElement::from_bool(true));
    leaf("/Meters/Breaker/Previous", CElement::from_uint(2));
    leaf("/Meters/Breaker/.AlarmOnValue", CElement::from_uint(2));

    leaf("/Meters/Input/Value", CElement::from_bool(true));
    leaf("/Meters/Input/PossibleValues", CElement::from_string("Off;On"));
    leaf("/Meters/Input/Writable", CElement::from_bool(true));
    leaf("/Meters/Input/Default", CElement::from_bool(false));

    leaf("/Meters/Text/Value", CElement::from_string("12.5"));
    leaf("/Meters/Text/Writable", CElement::from_bool(true));

    for (const char* child : {"a", "b", "c"}) node(std::string("/Meters/List/") + child);
    leaf("/Meters/List/PossibleValues", CElement::from_string("x;y;z;w;v"));
    leaf("/Meters/List/WritableValues", CElement::from_string("only"));

    leaf("/Meters/Kept/Value", CElement::from_real(1), DSV_TRI_TRUE);
    actAs("operator");
}

CElement ServiceStore::stored(const std::string& path, element_property_t* property) {
    api_status_t status;
    CElement value;
    element_property_t prop = ELEMENT_NORMAL;
    if (cds().get_leaf(path, status, value, prop) != 0 || !status.ok()) return CElement();
    if (property) *property = prop;
    return value;
}

bool ServiceStore::exists(const std::string& path) {
    return cds().node_exists(path);
}

std::string ServiceStore::getValue(const char* path, const char* options) {
    _nsc1__getValue request;
    request.options = str(options);
    request.path = str(path);
    _nsc1__getValueResponse response;
    EXPECT_EQ(__nsc1__getValue(soap_, &request, response), SOAP_OK);
    EXPECT_NE(response.getValueResult, nullptr);
    return response.getValueResult ? *response.getValueResult : "<null>";
}

std::vector<std::string> ServiceStore::getValues(const std::vector<std::string>* paths,
                                                 const char* options) {
    _nsc1__getValues request;
    request.options = str(options);
    nsc1__ArrayOfString array;
    if (paths) {
        array.string = *paths;
        request.paths = &array;
    }
    _nsc1__getValuesResponse response;
    EXPECT_EQ(__nsc1__getValues(soap_, &request, response), SOAP_OK);
    return response.getValuesResult;
}

std::vector<std::string> ServiceStore::getRelativeValues(const char* base,
                                                         const std::vector<std::string>& paths,
                                                         const char* options) {
    _nsc1__getRelativeValues request;
    request.options = str(options);
    request.basePath = str(base);
    request.paths = paths;
    _nsc1__getRelativeValuesResponse response;
    EXPECT_EQ(__nsc1__getRelativeValues(soap_, &request, response), SOAP_OK);
    return response.getRelativeValuesResult;
}

std::string ServiceStore::setValue(const char* path, const char* value, const char* options,
                                   int* status) {
    _nsc1__setValue request;
    request.options = str(options);
    request.path = str(path);
    request.value = str(value);
    _nsc1__setValueResponse response;
    int rc = __nsc1__setValue(soap_, &request, response);
    if (status)
        *status = rc;
    else
        EXPECT_EQ(rc, SOAP_OK);
    return response.setValueResult ? *response.setValueResult : "<null>";
}

std::string ServiceStore::setLeaf(const char* path, const char* value, const char* options,
                                  int* status) {
    _nst1__SetLeaf request;
    request.options = str(options);
    request.path = str(path);
    request.value = str(value);
    _nst1__SetLeafResponse response;
    int rc = __nst1__SetLeaf(soap_, &request, response);
    if (status)
        *status = rc;
    else
        EXPECT_EQ(rc, SOAP_OK);
    return response.SetLeafResult ? *response.SetLeafResult : "<null>";
}
