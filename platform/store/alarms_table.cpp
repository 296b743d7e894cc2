// The alarm table of the store: schema, row reads and writes, the listing of
// active alarms, and where the alarm/event log of a store lives.
#include <libgen.h>

#include <cstring>

#include "alarms.h"
#include "cds_alarms.h"

using platform_sql::bind_text;
using platform_sql::column_text;
using platform_sql::StmtGuard;
using toolkit::CElement;
using toolkit::CEvent;

namespace cds_alarms {

int create_table(dsv_handle* h) {
    return h->db.exec(
        "CREATE TABLE IF NOT EXISTS alarm(id INTEGER PRIMARY KEY, path TEXT NOT NULL,"
        " vtype INTEGER NOT NULL, vtext TEXT NOT NULL, priority INTEGER NOT NULL,"
        " present INTEGER NOT NULL, autoclose INTEGER NOT NULL, ack INTEGER NOT NULL,"
        " note TEXT NOT NULL, varlevel INTEGER NOT NULL, description TEXT NOT NULL,"
        " quality INTEGER NOT NULL, raised_sec INTEGER NOT NULL, raised_usec INTEGER NOT NULL,"
        " changed_sec INTEGER NOT NULL, changed_usec INTEGER NOT NULL, source TEXT NOT NULL)");
}

// Values are kept as their type and text form; reading converts the text
// back, which is exact for every type (reals use a round-trip form).
static CElement value_of(int type, const std::string& text) {
    if (type == DATA_TYPE_NONE) return CElement();
    CElement e = CElement::from_string(text);
    if (type != DATA_TYPE_STRING && !e.convert_type(static_cast<data_type_t>(type)))
        return CElement::from_string(text);
    return e;
}

static void row_to_event(sqlite3_stmt* s, CEvent& ev) {
    ev = CEvent();
    ev.type = CEvent::EVT_ALARM;
    ev.eventId = static_cast<uint64_t>(sqlite3_column_int64(s, 0));
    ev.path = column_text(s, 1);
    ev.value = value_of(sqlite3_column_int(s, 2), column_text(s, 3));
    ev.basePriority = static_cast<uint32_t>(sqlite3_column_int64(s, 4));
    ev.conditionPresent = sqlite3_column_int(s, 5) != 0;
    ev.autoClosing = sqlite3_column_int(s, 6) != 0;
    ev.ackStatus = sqlite3_column_int(s, 7);
    ev.note = column_text(s, 8);
    ev.variationLevel = sqlite3_column_int(s, 9);
    ev.description = column_text(s, 10);
    ev.setQuality(static_cast<uint16_t>(sqlite3_column_int(s, 11)));
    ev.valueTime = {static_cast<time_t>(sqlite3_column_int64(s, 12)),
                    static_cast<suseconds_t>(sqlite3_column_int64(s, 13))};
    ev.stamp = {static_cast<time_t>(sqlite3_column_int64(s, 14)),
                static_cast<suseconds_t>(sqlite3_column_int64(s, 15))};
    ev.source = column_text(s, 16);
}

// A store that never had an alarm has no table: that is an empty table.
static bool table_exists(dsv_handle* h, int& rc) {
    sqlite3_stmt* s =
        h->db.stmt("SELECT 1 FROM sqlite_master WHERE type='table' AND name='alarm'", &rc);
    if (!s) return false;
    StmtGuard g(s);
    rc = sqlite3_step(s);
    bool found = rc == SQLITE_ROW;
    if (rc == SQLITE_ROW || rc == SQLITE_DONE) rc = SQLITE_OK;
    return found;
}

int read_alarm(dsv_handle* h, uint64_t id, CEvent& ev) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt(
        "SELECT id, path, vtype, vtext, priority, present, autoclose, ack, note, varlevel,"
        " description, quality, raised_sec, raised_usec, changed_sec, changed_usec, source"
        " FROM alarm WHERE id=?",
        &rc);
    if (!s) return platform_sql::status_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, static_cast<sqlite3_int64>(id));
    rc = sqlite3_step(s);
    if (rc == SQLITE_DONE) return API_NOT_FOUND;
    if (rc != SQLITE_ROW) return platform_sql::status_of(rc);
    row_to_event(s, ev);
    return API_SUCCESS;
}

int write_alarm(dsv_handle* h, const CEvent& ev) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt(
        "INSERT OR REPLACE INTO alarm(id, path, vtype, vtext, priority, present, autoclose,"
        " ack, note, varlevel, description, quality, raised_sec, raised_usec, changed_sec,"
        " changed_usec, source) VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)",
        &rc);
    if (!s) return platform_sql::status_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, static_cast<sqlite3_int64>(ev.eventId));
    bind_text(s, 2, ev.path);
    sqlite3_bind_int(s, 3, ev.value.type());
    bind_text(s, 4, ev.value.to_string());
    sqlite3_bind_int64(s, 5, ev.basePriority);
    sqlite3_bind_int(s, 6, ev.conditionPresent ? 1 : 0);
    sqlite3_bind_int(s, 7, ev.autoClosing ? 1 : 0);
    sqlite3_bind_int(s, 8, ev.ackStatus);
    bind_text(s, 9, ev.note);
    sqlite3_bind_int(s, 10, ev.variationLevel);
    bind_text(s, 11, ev.description);
    sqlite3_bind_int(s, 12, ev.quality());
    sqlite3_bind_int64(s, 13, ev.valueTime.tv_sec);
    sqlite3_bind_int64(s, 14, ev.valueTime.tv_usec);
    sqlite3_bind_int64(s, 15, ev.stamp.tv_sec);
    sqlite3_bind_int64(s, 16, ev.stamp.tv_usec);
    bind_text(s, 17, ev.source);
    rc = sqlite3_step(s);
    return rc == SQLITE_DONE ? API_SUCCESS : platform_sql::status_of(rc);
}

int delete_alarm(dsv_handle* h, uint64_t id) {
    int rc = SQLITE_OK;
    sqlite3_stmt* s = h->db.stmt("DELETE FROM alarm WHERE id=?", &rc);
    if (!s) return platform_sql::status_of(rc);
    StmtGuard g(s);
    sqlite3_bind_int64(s, 1, static_cast<sqlite3_int64>(id));
    rc = sqlite3_step(s);
    return rc == SQLITE_DONE ? API_SUCCESS : platform_sql::status_of(rc);
}

static int list_rows(dsv_handle* h, std::vector<CEvent>& out) {
    int rc = SQLITE_OK;
    if (!table_exists(h, rc)) return rc == SQLITE_OK ? API_SUCCESS : platform_sql::status_of(rc);
    sqlite3_stmt* s = h->db.stmt(
        "SELECT id, path, vtype, vtext, priority, present, autoclose, ack, note, varlevel,"
        " description, quality, raised_sec, raised_usec, changed_sec, changed_usec, source"
        " FROM alarm ORDER BY changed_sec, changed_usec, id",
        &rc);
    if (!s) return platform_sql::status_of(rc);
    StmtGuard g(s);
    while ((rc = sqlite3_step(s)) == SQLITE_ROW) {
        out.emplace_back();
        row_to_event(s, out.back());
    }
    return rc == SQLITE_DONE ? API_SUCCESS : platform_sql::status_of(rc);
}

}  // namespace cds_alarms

namespace toolkit {

int alarms_list(CCds& cds, std::vector<CEvent>& out, api_status_t& status) {
    out.clear();
    dsv_handle* h = cds.handle();
    int st = cds_store::ensure(h);
    if (st != API_SUCCESS) {
        cds_store::set_status(status, st);
        return -1;
    }
    cds_store::Txn t(h, false);
    if (t.rc() != SQLITE_OK) return cds_store::fail(status, t.rc()), -1;
    st = cds_alarms::list_rows(h, out);
    cds_store::set_status(status, st);
    if (st != API_SUCCESS) out.clear();
    return st == API_SUCCESS ? 0 : -1;
}

// The store and the processes that read the alarm/event log (the gateway's
// -a) agree on the file through the leaf CDS_ALARM_LOG_LEAF; without it both
// use "alarms.db" in the store's folder.
tk_string alarm_log_location(CCds& cds) {
    tk_string store = dsv_store_path(cds.handle());
    std::vector<char> buf(store.begin(), store.end());
    buf.push_back('\0');
    tk_string folder = store.empty() ? tk_string(".") : tk_string(dirname(buf.data()));
    tk_string name = CDS_ALARM_LOG_DEFAULT;
    api_status_t st;
    CElement v;
    element_property_t prop;
    if (cds.get_leaf(tk_string(CDS_ALARM_LOG_LEAF), st, v, prop) == 0 && st.ok() &&
        !v.to_string().empty())
        name = v.to_string();
    return name[0] == '/' ? name : folder + "/" + name;
}

}  // namespace toolkit
