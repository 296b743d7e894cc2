// The gateway's process record: all process-wide state (data-store client,
// log locations and limits, the request being served, the connection
// registry). One instance lives on main()'s stack; handlers reach it through
// the SOAP engine's user pointer: `static_cast<global_data_t*>(soap->user)`.
#pragma once

#include <csignal>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "cds_api.h"
#include "cds_utils.h"
#include "ws_clock.h"

struct FCGX_Request;

namespace toolkit {
namespace trend {
class CLog;  // the trend log; opened lazily by the trend services
}
}  // namespace toolkit

// Software node of the gateway and the node of its connection records.
#define WS_SOFTWARE_NODE "/Software/Data Servers/BACnet WebServices"
#define WS_CONNECTIONS_SUFFIX "/Connections"

// One remembered client connection (one per user, scheme and address).
struct oneConnection {
    std::string id;        // "%d%c": number, then 'S' for HTTPS ("7", "12S")
    std::string hostName;  // reverse look-up of the address, else the address
    std::string address;   // REMOTE_ADDR
    std::string user;      // REMOTE_USER
    bool https = false;
    uint32_t lastSeen = 0;  // monotonic seconds of the latest request; 0: not filled

    // Fills id, hostName and lastSeen (= `now`, monotonic seconds) only when
    // both address and user are non-empty; otherwise lastSeen stays 0 and the
    // entry must be discarded.
    oneConnection(const char* address, const char* user, bool https, unsigned number, uint32_t now);
};

// Monotonic seconds are compared signed (nextTimerTime) and unsigned
// (lastSeen, lastSweep) as the loop and the sweep need.
struct global_data_t {
    toolkit::CCds cds;          // dsv_init() in its constructor
    CCds_SwInfo swInfo;         // bound to WS_SOFTWARE_NODE at start-up
    CCDS_Connxns connxns;       // bound to WS_SOFTWARE_NODE WS_CONNECTIONS_SUFFIX
    std::string deltaLogPath;   // -h, default "./deadband.db"
    std::string eventLogPath;   // -a, default "./alarms.db"
    std::string systemLogPath;  // -s, default "./system.db"
    std::shared_ptr<toolkit::trend::CLog> trendLog;  // empty until first use
    std::string trendLogPath;                        // -t, default "./interval-trends.db"
    int32_t maxRecords = 10000;                      // -m; events = /4, trend snapshots = /12
    int32_t pageSize = 0;                            // -p, bytes; 0 = SQLite default
    int32_t cacheSize = 0;                           // -c kB * 1024; 0 = default
    int32_t heapLimit = 0;                           // -l kB * 1024; 0 = none
    FCGX_Request* pReq = nullptr;                    // the FastCGI request being served
    std::string requestBody;                         // its body, read whole before parsing
    size_t requestBodyRead = 0;                      // how much of it the engine has taken
    uint32_t connectionCounter = 0;
    int32_t nextTimerTime = 0;  // earliest monotonic second of the next sweep
    std::unordered_map<std::string, oneConnection> connections;
    std::string waveFolder;                      // -w, COMTRADE files; empty by default
    bool daemonMode = true;                      // cleared by -d (foreground, no watchdog)
    ws_clock_t clock;                            // every time read and retry pause; real by default
    std::string rebootCommand = "/sbin/reboot";  // what Reset starts

    global_data_t() : connections(10) { connections.max_load_factor(1.0f); }
    global_data_t(const global_data_t&) = delete;
    global_data_t& operator=(const global_data_t&) = delete;
};

// Set to 1 by the termination handler (and by the Reset service); the
// request loop tests it once per turn.
extern volatile sig_atomic_t __signal_exit;
