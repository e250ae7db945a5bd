// A recording of three alarms: A goes from minor to major, and ends; B is still active at the end; C begins and ends.
#pragma once

#include <string>

namespace polaiga::fleet::test {

inline std::string event_of(int seq, const char* sensor) {
  return R"("event":{"seq":)" + std::to_string(seq) +
         R"(,"received":"2025-01-01T00:00:00Z","at":"2025-01-01T00:00:00Z","entity":"fan","sensor":")" + sensor +
         R"(","id":"event-)" + std::to_string(seq) + R"("})";
}

inline std::string record_of(const char* dn, int code, const char* text) {
  return std::string(R"("record":{"dn":")") + dn + R"(","code":)" + std::to_string(code) + R"(,"name":"name of )" +
         std::to_string(code) + R"(","descr":")" + text +
         R"(","cause":"a cause","oid":"1.2.3","created_time":1,"event_type":null,"probable_cause":null,)" +
         R"("probable_cause_number":null})";
}

inline std::string line_of(int number, const std::string& what, const std::string& members) {
  const std::string id = "00000000000000000000000000000000";
  return R"({"ledger_id":")" + id + R"(","number":)" + std::to_string(number) + R"(,"change":")" + what +
         R"(","at":"2025-01-01T00:00:00Z",)" + members + "}\n";
}

inline std::string alarm_id(int number) {
  return R"("alarm":"00000000000000000000000000000000-)" + std::to_string(number) + '"';
}

inline const std::string kToldFlags = R"("quiet":false,"folded":false,)";

inline std::string short_recording() {
  const std::string a = kToldFlags + alarm_id(1);
  const std::string b = kToldFlags + alarm_id(4);
  const std::string c = kToldFlags + alarm_id(6);
  return line_of(1, "raised",
                 R"("seq":1,)" + a +
                     R"(,"fault":1,"fault_dn":"fan/F1","before":"cleared","after":"minor","shown_seq":1,)" +
                     R"("reporters":1,)" + event_of(1, "FAN1") + "," + record_of("fan", 1, "slow")) +
         line_of(2, "superseded",
                 R"("seq":2,)" + a +
                     R"(,"fault":1,"fault_dn":"fan/F1","before":"minor","after":"major","shown_seq":1,)" +
                     R"("reporters":0,)" + event_of(2, "FAN1") + "," + record_of("fan", 2, "stopped")) +
         line_of(3, "raised",
                 R"("seq":2,)" + a +
                     R"(,"fault":3,"fault_dn":"fan/F2","before":"minor","after":"major","shown_seq":2,)" +
                     R"("reporters":1,)" + event_of(2, "FAN1") + "," + record_of("fan", 2, "stopped")) +
         line_of(4, "raised",
                 R"("seq":3,)" + b +
                     R"(,"fault":4,"fault_dn":"psu/F3","before":"cleared","after":"major","shown_seq":3,)" +
                     R"("reporters":1,)" + event_of(3, "PSU1") + "," + record_of("psu", 3, "no power")) +
         line_of(5, "cleared",
                 R"("seq":4,)" + a +
                     R"(,"fault":3,"fault_dn":"fan/F2","before":"major","after":"cleared","shown_seq":2,)" +
                     R"("reporters":0,)" + event_of(4, "FAN1") + "," + record_of("fan", 2, "runs")) +
         line_of(6, "raised",
                 R"("seq":5,)" + c +
                     R"(,"fault":6,"fault_dn":"cpu/F4","before":"cleared","after":"critical","shown_seq":5,)" +
                     R"("reporters":1,)" + event_of(5, "CPU1") + "," + record_of("cpu", 4, "too hot")) +
         line_of(7, "cleared",
                 R"("seq":6,)" + c +
                     R"(,"fault":6,"fault_dn":"cpu/F4","before":"critical","after":"cleared","shown_seq":5,)" +
                     R"("reporters":0,)" + event_of(6, "CPU1") + "," + record_of("cpu", 4, "cool"));
}

}  // namespace polaiga::fleet::test
