#include "net_snmp_loop.h"

#include <net-snmp/net-snmp-config.h>
// Its other headers want the first one before them.
#include <net-snmp/net-snmp-includes.h>

#include <cstdlib>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "sample_record.h"

namespace zvevent::bench {

namespace {

using ObjectIdentifier = std::vector<oid>;

const ObjectIdentifier kSysUpTime = {1, 3, 6, 1, 2, 1, 1, 3, 0};
const ObjectIdentifier kSnmpTrapOid = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
const ObjectIdentifier kTrap = {1, 3, 6, 1, 4, 1, 32473, 0, 1};

ObjectIdentifier Field(oid number) {
    return {1, 3, 6, 1, 4, 1, 32473, 1, number, 0};
}

void Add(snmp_pdu* pdu, const ObjectIdentifier& name, unsigned char type, const void* value,
         std::size_t bytes) {
    if (snmp_pdu_add_variable(pdu, name.data(), name.size(), type, value, bytes) == nullptr)
        std::abort();
}

void AddText(snmp_pdu* pdu, const ObjectIdentifier& name, std::string_view text) {
    Add(pdu, name, ASN_OCTET_STR, text.data(), text.size());
}

// The names of the bindings, made once.
std::vector<ObjectIdentifier> FieldNames() {
    std::vector<ObjectIdentifier> names;
    for (oid number = 1; number <= 12; ++number)
        names.push_back(Field(number));
    return names;
}

snmp_pdu* Trap(const zvEventNormalizedEvent& event, const std::vector<ObjectIdentifier>& names) {
    snmp_pdu* const pdu = snmp_pdu_create(SNMP_MSG_TRAP2);
    const u_long uptime = 1;
    const long severity = event.severity;
    Add(pdu, kSysUpTime, ASN_TIMETICKS, &uptime, sizeof uptime);
    Add(pdu, kSnmpTrapOid, ASN_OBJECT_ID, kTrap.data(), kTrap.size() * sizeof(oid));
    Add(pdu, names[0], ASN_INTEGER, &severity, sizeof severity);
    const std::string id = std::to_string(event.event_id);
    const std::string utc_ns = std::to_string(event.utc_ns);
    auto name = names.begin() + 1;
    for (const std::string_view text : std::initializer_list<std::string_view>{
             "warning", id, event.event_type, event.source_id, event.source_name, event.action,
             event.message, event.dedupe_key, event.correlation_id, utc_ns, event.details_json})
        AddText(pdu, *name++, text);
    return pdu;
}

}  // namespace

void SendTrapsByNetSnmp(const std::string& port, int count) {
    // No files of configuration, of MIBs or of what the library keeps from run to run.
    setenv("SNMPCONFPATH", "/dev/null", 1);
    setenv("SNMP_PERSISTENT_DIR", "/dev/null", 1);
    setenv("MIBS", "", 1);
    netsnmp_session settings;
    snmp_sess_init(&settings);
    std::string peer = "udp:127.0.0.1:" + port;
    std::string community = "public";
    settings.version = SNMP_VERSION_2c;
    settings.peername = peer.data();
    settings.community = reinterpret_cast<unsigned char*>(community.data());
    settings.community_len = community.size();
    netsnmp_session* const session = snmp_open(&settings);
    if (session == nullptr) std::abort();
    const std::vector<ObjectIdentifier> names = FieldNames();
    zvEventNormalizedEvent event = SampleEvent();
    for (int i = 0; i < count; ++i) {
        ++event.event_id;
        event.utc_ns += 100'000;
        if (snmp_send(session, Trap(event, names)) == 0) std::abort();
    }
    snmp_close(session);
}

}  // namespace zvevent::bench
