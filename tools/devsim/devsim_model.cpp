// The meters' values as pure functions of seed, meter and step: slow waves
// with seeded noise, a breaker that trips on a fixed cycle and a door contact
// that opens now and then. Nothing here keeps state between steps.
#include <cmath>

#include "devsim.h"

using toolkit::CElement;

namespace devsim {

namespace {

const double kPi = 3.14159265358979323846;

// splitmix64: a well-mixed 64-bit hash, so neighbouring steps get unrelated
// noise yet the same step always gets the same noise.
uint64_t mix(uint64_t x) {
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

// Noise in [-1, 1].
double noise(uint64_t seed, unsigned meter, int64_t step, unsigned channel) {
    uint64_t h = mix(seed ^ mix((uint64_t(meter) << 40) ^ (uint64_t(channel) << 32) ^
                                static_cast<uint64_t>(step)));
    return double(h >> 11) / double(1ull << 52) - 1.0;
}

// Rounds to `per` steps per unit (10 for 0.1). Dividing by the integer scale,
// not multiplying by 0.1, gives the double nearest the decimal value, so
// values print as "49.977" rather than "49.977000000000004".
double round_to(double v, double per) {
    return std::round(v * per) / per;
}

// The breaker trips for 6 steps in every 240, at a different phase per meter.
const int64_t kTripCycle = 240, kTripAt = 120, kTripSteps = 6;

}  // namespace

MeterState meter_state(uint64_t seed, unsigned meter, int64_t step, double stepSeconds) {
    MeterState s{};
    int64_t phase = (step + 37 * int64_t(meter)) % kTripCycle;
    s.tripped = step >= 0 && phase >= kTripAt && phase < kTripAt + kTripSteps;
    s.doorOpen =
        (step + 11 * int64_t(meter)) % 500 >= 300 && (step + 11 * int64_t(meter)) % 500 < 310;
    double k = double(step);
    for (int p = 0; p < 3; ++p) {
        s.volt[p] = round_to(230.0 + 3.0 * std::sin(2 * kPi * (k / 600.0 + p / 3.0)) +
                                 0.8 * noise(seed, meter, step, p),
                             10);
        // Peaks near 650 A: the default 630 A over-current setpoint is
        // crossed for a while in every 180-step wave.
        double load = 450.0 + 200.0 * std::sin(2 * kPi * k / 180.0 + meter) + 15.0 * p +
                      10.0 * noise(seed, meter, step, 3 + p);
        s.amp[p] = s.tripped ? 0.0 : round_to(load, 10);
    }
    s.pf = round_to(0.92 + 0.03 * std::sin(2 * kPi * k / 300.0), 1000);
    double va = 0;
    for (int p = 0; p < 3; ++p) va += s.volt[p] * s.amp[p];
    s.apparentKva = round_to(va / 1000.0, 100);
    s.activeKw = round_to(s.apparentKva * s.pf, 100);
    s.reactiveKvar = round_to(s.apparentKva * std::sqrt(1.0 - s.pf * s.pf), 100);
    s.freq = round_to(
        50.0 + 0.05 * std::sin(2 * kPi * k / 120.0) + 0.01 * noise(seed, meter, step, 6), 1000);
    // Energies grow at a nominal rate so they are a closed form of the step.
    double hours = k * stepSeconds / 3600.0;
    s.energyKwh = round_to(10000.0 * meter + 300.0 * hours, 1000);
    s.energyKvarh = round_to(2000.0 * meter + 120.0 * hours, 1000);
    return s;
}

std::string meter_node(unsigned meter) {
    return "/Devices/Meter" + std::to_string(meter);
}

uint64_t overcurrent_alarm_id(unsigned meter) {
    return 1000ull * meter + 1;
}
uint64_t breaker_alarm_id(unsigned meter) {
    return 1000ull * meter + 2;
}

void meter_points(unsigned meter, const MeterState& s, std::vector<PointValue>& out) {
    std::string n = meter_node(meter);
    static const char* const kPhase[3] = {"L1", "L2", "L3"};
    for (int p = 0; p < 3; ++p)
        out.push_back({n + "/Voltage/" + kPhase[p], CElement::from_real(s.volt[p])});
    for (int p = 0; p < 3; ++p)
        out.push_back({n + "/Current/" + kPhase[p], CElement::from_real(s.amp[p])});
    out.push_back({n + "/Power/Active", CElement::from_real(s.activeKw)});
    out.push_back({n + "/Power/Reactive", CElement::from_real(s.reactiveKvar)});
    out.push_back({n + "/Power/Apparent", CElement::from_real(s.apparentKva)});
    out.push_back({n + "/PowerFactor", CElement::from_real(s.pf)});
    out.push_back({n + "/Frequency", CElement::from_real(s.freq)});
    out.push_back({n + "/Energy/ActiveImport", CElement::from_real(s.energyKwh)});
    out.push_back({n + "/Energy/ReactiveImport", CElement::from_real(s.energyKvarh)});
    out.push_back({n + "/DoorContact", CElement::from_bool(s.doorOpen)});
    // The breaker is written on trip and reclose only (a client may open it).
}

}  // namespace devsim
