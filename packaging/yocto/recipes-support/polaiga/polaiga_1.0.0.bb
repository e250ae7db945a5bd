SUMMARY = "Faults of a rack server from its sensor events"
DESCRIPTION = "A fault engine gives every sensor event to the filter of its \
entity class, which fills a fault record. The program is the reference engine, \
a service that keeps the faults."
SECTION = "libs"
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# The checkout that this layer is part of; set both for a mirror or a revision.
POLAIGA_GIT_URI ?= "git://${@os.path.realpath('${THISDIR}/../../../..')};protocol=file;nobranch=1"
SRC_URI = "${POLAIGA_GIT_URI}"
SRCREV ?= "${AUTOREV}"

S = "${WORKDIR}/git"

inherit cmake pkgconfig bash-completion systemd useradd features_check

# The program tells the service manager how it is.
REQUIRED_DISTRO_FEATURES = "${@bb.utils.contains('PACKAGECONFIG', 'program', 'systemd', '', d)}"

# Take time64 out when the library is to run with a glibc older than 2.34, or
# with a fault engine that replaces time() with the 32-bit clock. The library's
# clock then ends in January 2038. On 64-bit machines this changes nothing.
PACKAGECONFIG ??= "program time64"
PACKAGECONFIG[program] = "-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=OFF,-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON,cli11 nlohmann-json simdjson sqlite3 zlib nettle systemd"
PACKAGECONFIG[time64] = "-DPOLAIGA_TIME64=ON,-DPOLAIGA_TIME64=OFF"

# The web server is left out, whatever libraries the image has: it needs five more of them, and nobody has tried it on a
# controller. So is the source that reads IPMI, which asks controllers and does not run on one.
EXTRA_OECMAKE = "-DCMAKE_SKIP_INSTALL_RPATH=ON -DPOLAIGA_WEB=OFF -DPOLAIGA_IPMI=OFF -DPOLAIGA_SNMP=OFF -DPOLAIGA_MQTT=OFF -DPOLAIGA_ALERTMANAGER=OFF -DPOLAIGA_UNIT_DIR=${systemd_system_unitdir}"

SYSTEMD_PACKAGES = "${@bb.utils.contains('PACKAGECONFIG', 'program', '${PN}', '', d)}"
SYSTEMD_SERVICE:${PN} = "polaiga.service"

USERADD_PACKAGES = "${PN}"
USERADD_PARAM:${PN} = "--system --home-dir ${localstatedir}/lib/polaiga --no-create-home --shell /sbin/nologin --user-group polaiga"
GROUPADD_PARAM:${PN} = "--system polaiga-operators"

PACKAGES =+ "lib${BPN}"

FILES:${PN} += "${nonarch_libdir}/sysusers.d"
FILES:lib${BPN} = "${libdir}/lib${BPN}${SOLIBS}"

# Without the program there is nothing in the main package.
ALLOW_EMPTY:${PN} = "1"
RDEPENDS:${PN}-dev = "lib${BPN} (= ${EXTENDPKGV})"
