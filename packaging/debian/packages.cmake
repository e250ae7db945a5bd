# cpack makes libpolaiga1, libpolaiga-dev, polaiga, polaiga-web, polaiga-ipmi and the publishers, polaiga-snmp,
# polaiga-mqtt and polaiga-alertmanager, and those of a fleet, polaiga-collector, polaiga-web-fleet and
# polaiga-alertmanager-fleet, for the architecture that was built for.
set(POLAIGA_MAINTAINER "polaiga maintainers <polaiga@localhost>" CACHE STRING "Who stands in the packages as maintainer")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME polaiga)
set(CPACK_PACKAGE_CONTACT "${POLAIGA_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development)
if(TARGET polaiga_program)
  list(APPEND CPACK_COMPONENTS_ALL program)
endif()
if(TARGET polaiga_web_program)
  list(APPEND CPACK_COMPONENTS_ALL web)
endif()
if(TARGET polaiga_ipmi_program)
  list(APPEND CPACK_COMPONENTS_ALL ipmi)
endif()
foreach(publisher snmp mqtt alertmanager)
  if(TARGET polaiga_${publisher}_program)
    list(APPEND CPACK_COMPONENTS_ALL ${publisher})
  endif()
endforeach()
if(TARGET polaiga_collector_program)
  list(APPEND CPACK_COMPONENTS_ALL collector)
endif()
foreach(output web alertmanager)
  if(TARGET polaiga_${output}-fleet_program)
    list(APPEND CPACK_COMPONENTS_ALL ${output}_fleet)
  endif()
endforeach()
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SOURCE polaiga)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
if(CMAKE_LIBRARY_ARCHITECTURE STREQUAL "x86_64-linux-gnu")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
elseif(CMAKE_LIBRARY_ARCHITECTURE STREQUAL "arm-linux-gnueabihf")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libpolaiga${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
  "faults of a rack server from its sensor events\nA fault engine gives every sensor event to the filter of its entity class,\nwhich fills a fault record: what is wrong, since when, why, and what the\noperator should do.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libpolaiga-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libpolaiga${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "faults of a rack server from its sensor events - development\nThe headers, the description for pkg-config and CMake, the manual and an\nexample of a host.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME polaiga)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
  "fault engine of a rack server\nThe reference engine: it takes sensor events, as a service or from files, keeps\nthe faults that they raise and clear, and tells which are active and why.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst ${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm)
set(CPACK_DEBIAN_WEB_PACKAGE_NAME polaiga-web)
set(CPACK_DEBIAN_WEB_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_WEB_DESCRIPTION
  "web server of the fault engine\nA page that shows alarms as they come, and the same for programs: an API,\nRESTCONF, Redfish, and metrics for Prometheus with alert rules and a dashboard.")
set(CPACK_DEBIAN_WEB_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/web/postinst ${CMAKE_CURRENT_SOURCE_DIR}/debian/web/prerm
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/web/postrm)

set(CPACK_DEBIAN_IPMI_PACKAGE_NAME polaiga-ipmi)
set(CPACK_DEBIAN_IPMI_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_IPMI_DESCRIPTION
  "sensor events of servers with IPMI for the fault engine\nIt reads event logs and sensors of management controllers, of this server or\nover the network, and tells the engine what is wrong. It changes nothing there.\nThe binary is under GPL-3+ as a whole, because of FreeIPMI's library.")
set(CPACK_DEBIAN_IPMI_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/ipmi/postinst ${CMAKE_CURRENT_SOURCE_DIR}/debian/ipmi/prerm
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/ipmi/postrm)

# The publishers, whose scripts differ in the name alone.
foreach(publisher snmp mqtt alertmanager)
  string(TOUPPER ${publisher} component)
  set(scripts ${CMAKE_CURRENT_BINARY_DIR}/debian/${publisher})
  foreach(script postinst prerm postrm)
    configure_file(debian/publisher/${script}.in debian/${publisher}/${script} @ONLY FILE_PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endforeach()
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME polaiga-${publisher})
  set(CPACK_DEBIAN_${component}_PACKAGE_SECTION admin)
  set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA ${scripts}/postinst ${scripts}/prerm ${scripts}/postrm)
endforeach()
set(CPACK_DEBIAN_SNMP_PACKAGE_RECOMMENDS snmpd)
set(CPACK_COMPONENT_SNMP_DESCRIPTION
  "SNMP publisher of the fault engine\nA subagent of snmpd that tells alarms as traps and informs, and answers for\ntables of alarms, objects and changes: POLAIGA-MIB, ALARM-MIB, ITU-ALARM-MIB.")
set(CPACK_DEBIAN_MQTT_PACKAGE_SUGGESTS mosquitto)
set(CPACK_COMPONENT_MQTT_DESCRIPTION
  "MQTT publisher of the fault engine\nIt tells each change of an alarm to a broker, and keeps the list of active\nalarms there as retained messages.")
set(CPACK_DEBIAN_ALERTMANAGER_PACKAGE_SUGGESTS prometheus-alertmanager)
set(CPACK_COMPONENT_ALERTMANAGER_DESCRIPTION
  "Alertmanager and webhook publisher of the fault engine\nIt keeps active alarms as alerts in one or several Alertmanagers of\nPrometheus, and posts changes to webhooks as CloudEvents.")

# The programs of a fleet, whose scripts differ in the name alone.
foreach(program collector web-fleet alertmanager-fleet)
  string(REPLACE - _ component ${program})
  string(TOUPPER ${component} component)
  set(scripts ${CMAKE_CURRENT_BINARY_DIR}/debian/${program})
  foreach(script postinst prerm postrm)
    configure_file(debian/fleet/${script}.in debian/${program}/${script} @ONLY FILE_PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endforeach()
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME polaiga-${program})
  set(CPACK_DEBIAN_${component}_PACKAGE_SECTION admin)
  set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA ${scripts}/postinst ${scripts}/prerm ${scripts}/postrm)
endforeach()
set(CPACK_DEBIAN_COLLECTOR_PACKAGE_SUGGESTS "postgresql-15, rabbitmq-server")
set(CPACK_COMPONENT_COLLECTOR_DESCRIPTION
  "alarms of many controllers in one database\nIt takes the changes that fault engines publish by MQTT from a RabbitMQ broker,\nwrites each once into a PostgreSQL database, and asks for what is missing.")
# The web server of a fleet alone has files of its own, which a purge takes away.
set(scripts ${CMAKE_CURRENT_BINARY_DIR}/debian/web-fleet)
set(CPACK_DEBIAN_WEB_FLEET_PACKAGE_CONTROL_EXTRA
  ${scripts}/postinst ${scripts}/prerm ${CMAKE_CURRENT_SOURCE_DIR}/debian/web-fleet/postrm)
set(CPACK_DEBIAN_WEB_FLEET_PACKAGE_SUGGESTS "polaiga-collector, postgresql-15")
set(CPACK_COMPONENT_WEB_FLEET_DESCRIPTION
  "web server of a fleet of fault engines\nA page, an API and metrics of the alarms of many controllers, from the\nPostgreSQL database that collectors fill. It is what polaiga-web --fleet runs.")
set(CPACK_DEBIAN_ALERTMANAGER_FLEET_PACKAGE_SUGGESTS "polaiga-collector, postgresql-15, prometheus-alertmanager")
set(CPACK_COMPONENT_ALERTMANAGER_FLEET_DESCRIPTION
  "Alertmanager publisher of a fleet of fault engines\nIt keeps groups of alarms, other alarms and silent controllers as alerts in\nAlertmanagers of Prometheus, from the PostgreSQL database that collectors fill.\nIt is what polaiga-alertmanager --fleet runs.")

# Who links to the library depends on its package, and the loader's cache knows it.
set(debian_control ${CMAKE_CURRENT_BINARY_DIR}/debian)
set(POLAIGA_SHLIBS
  "libpolaiga ${PROJECT_VERSION_MAJOR} libpolaiga${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})")
file(CONFIGURE OUTPUT ${debian_control}/shlibs CONTENT "${POLAIGA_SHLIBS}\n")
file(CONFIGURE OUTPUT ${debian_control}/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${debian_control}/shlibs ${debian_control}/triggers)

configure_file(debian/project_config.cmake.in debian/project_config.cmake @ONLY)
configure_file(debian/finish.cmake.in debian/finish.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${debian_control}/project_config.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${debian_control}/finish.cmake)
include(CPack)
