// The documents of the protocol, from which clients find everything else.
#pragma once

#include <string>

#include "report/json_object.h"

namespace polaiga::web {

// /redfish/v1/
engine::JsonObject service_root();

// /redfish/v1/odata: the service document of OData.
engine::JsonObject odata_document();

// /redfish/v1/$metadata, as XML: the schemas that there are.
std::string metadata_document();

}  // namespace polaiga::web
