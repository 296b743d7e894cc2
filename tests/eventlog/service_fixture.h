// Fixture of the event-log service tests: the shared store fixture (its
// process record points at log files in the same temporary folder) with a
// few multistate points.
#pragma once

#include "log_fixture.h"
#include "ws_eventlogs.h"
#include "wstest_store.h"

namespace evtest {

class ServiceFixture : public wstest::StoreFixture {
  protected:
    void SetUp() override {
        StoreFixture::SetUp();
        if (HasFatalFailure()) return;
        leaf("/Meters/Breaker/ValueType", toolkit::CElement::from_string("Multistate"));
        leaf("/Meters/Breaker/PossibleValues",
             toolkit::CElement::from_string("Open;Closed;Tripped"));
        leaf("/Meters/Input/PossibleValues", toolkit::CElement::from_string("Off;On"));
        leaf("/Meters/Count/Value", toolkit::CElement::from_int(1));
    }
};

inline std::string orNull(const std::string* s) {
    return s ? *s : "<null>";
}

}  // namespace evtest
