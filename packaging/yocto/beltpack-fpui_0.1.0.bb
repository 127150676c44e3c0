# An example for a layer of the station: recipes-station/beltpack-fpui/beltpack-fpui_0.1.0.bb. The sources are taken from
# a folder (BELTPACK_SOURCES in the layer's or the local configuration) through the class externalsrc.
SUMMARY = "Front-panel daemon of a belt-worn intercom station"
SECTION = "console/utils"
LICENSE = "CLOSED"

DEPENDS = "freetype"
RRECOMMENDS:${PN} = "libubootenv-bin"

inherit cmake externalsrc useradd systemd pkgconfig

EXTERNALSRC = "${BELTPACK_SOURCES}"

# The emulated panel and the tests belong to a desk. The C++ library is the system's, which keeps the daemon small. The
# folders of systemd and udev are the distribution's.
EXTRA_OECMAKE = "\
    -DCMAKE_BUILD_TYPE=Release \
    -DBELTPACK_STATIC_CXX=OFF \
    -DBELTPACK_SIM=OFF \
    -DBELTPACK_TESTS=OFF \
    -DBELTPACK_SYSTEMD_UNIT_DIR=${systemd_system_unitdir} \
    -DBELTPACK_UDEV_RULES_DIR=${nonarch_base_libdir}/udev/rules.d \
    -DBELTPACK_SYSUSERS_DIR=${nonarch_libdir}/sysusers.d \
"

USERADD_PACKAGES = "${PN}"
USERADD_PARAM:${PN} = "--system --no-create-home --shell /sbin/nologin --user-group beltpack"

# The controller starts the daemon; "enable" is for a panel that runs by itself.
SYSTEMD_SERVICE:${PN} = "beltpack-fpui.socket beltpack-fpui.service beltpack-fpui-lines.service"
SYSTEMD_AUTO_ENABLE = "disable"

FILES:${PN} += "\
    ${systemd_system_unitdir} \
    ${nonarch_base_libdir}/udev/rules.d \
    ${nonarch_libdir}/sysusers.d \
    ${libexecdir}/beltpack-fpui \
"
