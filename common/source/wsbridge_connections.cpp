// The client connection registry: one entry per user, scheme and address,
// refreshed by every request and mirrored into the store's Connections node
// by the timer task, which also pings the process watchdog.
#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "ws_assert.h"
#include "wsbridge_host.h"

namespace {

const int32_t kSweepInterval = 60;  // seconds between two mirrors
const int64_t kIdleLimit = 600;     // kept while idle for at most this long

std::string connectionsNode() {
    return WS_SOFTWARE_NODE WS_CONNECTIONS_SUFFIX;
}

std::string connectionKey(const char* address, const char* user, bool https) {
    return std::string(user) + (https ? "@https:" : "@http:") + address;
}

// Names of the records now in the store; empty when the node is missing.
std::vector<tk_string> storedConnections(global_data_t* g) {
    std::vector<tk_string> names;
    CPath node(connectionsNode());
    if (node.getAttributeList("Children", g->cds, names) != 0) names.clear();
    return names;
}

}  // namespace

oneConnection::oneConnection(const char* address_, const char* user_, bool https_, unsigned number,
                             uint32_t now)
    : address(address_), user(user_), https(https_) {
    if (address.empty() || user.empty()) return;
    char text[16];
    std::snprintf(text, sizeof text, "%d%c", static_cast<int>(number), https ? 'S' : '\0');
    id = text;
    lastSeen = now;
    in_addr_t ipv4 = inet_addr(address_);
    struct hostent* host = gethostbyaddr(&ipv4, 4, AF_INET);
    hostName = (host != nullptr && host->h_name != nullptr) ? host->h_name : address;
}

// The counter moves even when the entry is then discarded, so connection
// numbers can be skipped; the store's history relies on numbers never being
// reused within a run.
void AddUpdateConnectionMap(global_data_t* g, const char* address, const char* user, bool https) {
    std::string key = connectionKey(address, user, https);
    auto found = g->connections.find(key);
    if (found != g->connections.end()) {
        found->second.lastSeen = g->clock.monoSeconds();
        return;
    }
    ++g->connectionCounter;
    oneConnection connection(address, user, https, g->connectionCounter, g->clock.monoSeconds());
    if (connection.lastSeen == 0) return;
    auto InsertResult = g->connections.emplace(key, connection);
    WS_ASSERT(InsertResult.second, WS_HOST_MODULE);
    std::fprintf(stderr, "New wsbridge connection %s for %s \n", connection.id.c_str(),
                 key.c_str());
}

// Writes new entries, drops entries idle longer than the limit, and removes
// store records that belong to no entry (left by an earlier run).
static void sweepConnections(global_data_t* g, uint32_t now) {
    std::vector<tk_string> stale = storedConnections(g);
    int64_t cutoff = static_cast<int64_t>(now) - kIdleLimit;
    for (auto it = g->connections.begin(); it != g->connections.end();) {
        oneConnection& c = it->second;
        auto pos = std::find(stale.begin(), stale.end(), c.id);
        if (pos == stale.end()) {
            // First written now: its age is tested from the next sweep on.
            bool bResult = g->connxns.AddConnxn(c.id, c.address, c.hostName, c.user);
            WS_ASSERT(bResult, WS_HOST_MODULE);
            ++it;
            continue;
        }
        stale.erase(std::remove(stale.begin(), stale.end(), c.id), stale.end());
        if (static_cast<int64_t>(c.lastSeen) >= cutoff) {
            ++it;
            continue;
        }
        g->connxns.RemoveConnxn(c.id);
        std::fprintf(stderr, "Timed out connection %s for %s \n", c.id.c_str(), c.address.c_str());
        it = g->connections.erase(it);
    }
    for (const tk_string& name : stale) {
        std::fprintf(stderr, "Unexpected removal of connection %s %s \n", connectionsNode().c_str(),
                     name.c_str());
        g->connxns.RemoveConnxn(name);
    }
}

// The watchdog is pinged on every call (every 5 to 6 s), not only when the
// sweep is due. A failed ping closes the store client and skips the sweep;
// nothing here reopens it.
void timer_task(global_data_t* g) {
    if (g->daemonMode) {
        api_status_t status;
        if (g->cds.watchdog_ping(status) != 0 || status.code != API_SUCCESS) {
            g->cds.close();
            return;
        }
    }
    uint32_t now = g->clock.monoSeconds();
    if (static_cast<int64_t>(now) < g->nextTimerTime) return;
    g->nextTimerTime = static_cast<int32_t>(now + kSweepInterval);
    sweepConnections(g, now);
}
