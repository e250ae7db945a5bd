// What a RESTCONF server says of itself, as JSON (RFC 7951).
#pragma once

#include <string_view>

namespace polaiga::web {

// The API resource and those right below it (RFC 8040, section 3.3).
inline constexpr std::string_view kRestconfRoot =
    R"({"ietf-restconf:restconf":{"data":{},"operations":{},"yang-library-version":"2019-01-04"}})"
    "\n";
inline constexpr std::string_view kOperations = "{\"ietf-restconf:operations\":{}}\n";
inline constexpr std::string_view kLibraryVersion = "{\"ietf-restconf:yang-library-version\":\"2019-01-04\"}\n";

// Members of the datastore beside the alarms. The first has the capabilities of RFC 8040, section 9.1: no optional
// query parameter is known. The second has the modules of RFC 8525, with those features of ietf-alarms that the data
// uses.
inline constexpr std::string_view kServerData = R"({
  "ietf-restconf-monitoring:restconf-state": {
    "capabilities": {
      "capability": ["urn:ietf:params:restconf:capability:defaults:1.0?basic-mode=explicit"]
    }
  },
  "ietf-yang-library:yang-library": {
    "module-set": [
      {
        "name": "all",
        "module": [
          {
            "name": "ietf-alarms",
            "revision": "2019-09-11",
            "namespace": "urn:ietf:params:xml:ns:yang:ietf-alarms",
            "feature": ["operator-actions", "alarm-shelving", "alarm-history", "alarm-summary"]
          },
          {
            "name": "polaiga-alarm-types",
            "revision": "2026-11-21",
            "namespace": "urn:oid:1.3.6.1.4.1.32473.5.101"
          },
          {
            "name": "ietf-restconf-monitoring",
            "revision": "2017-01-26",
            "namespace": "urn:ietf:params:xml:ns:yang:ietf-restconf-monitoring"
          },
          {
            "name": "ietf-yang-library",
            "revision": "2019-01-04",
            "namespace": "urn:ietf:params:xml:ns:yang:ietf-yang-library"
          },
          {
            "name": "ietf-datastores",
            "revision": "2018-02-14",
            "namespace": "urn:ietf:params:xml:ns:yang:ietf-datastores"
          }
        ],
        "import-only-module": [
          {
            "name": "ietf-yang-types",
            "revision": "2013-07-15",
            "namespace": "urn:ietf:params:xml:ns:yang:ietf-yang-types"
          },
          {
            "name": "ietf-inet-types",
            "revision": "2013-07-15",
            "namespace": "urn:ietf:params:xml:ns:yang:ietf-inet-types"
          }
        ]
      }
    ],
    "schema": [{"name": "all", "module-set": ["all"]}],
    "datastore": [{"name": "ietf-datastores:operational", "schema": "all"}],
    "content-id": "1"
  }
})";

}  // namespace polaiga::web
