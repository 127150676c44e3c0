################################################################################
#
# beltpack-fpui
#
################################################################################

# An example for a BR2_EXTERNAL tree: copy this folder to its package/, and source Config.in from its Config.in. The
# sources are taken from a folder; a release archive takes BELTPACK_FPUI_SITE and a .hash file instead.
BELTPACK_FPUI_VERSION = 0.1.0
BELTPACK_FPUI_SITE = $(BR2_EXTERNAL_STATION_PATH)/../beltpack_fpui
BELTPACK_FPUI_SITE_METHOD = local
BELTPACK_FPUI_LICENSE = PROPRIETARY
BELTPACK_FPUI_REDISTRIBUTE = NO
BELTPACK_FPUI_DEPENDENCIES = freetype

# The emulated panel and the tests belong to a desk. The C++ library is the system's, which keeps the daemon small.
BELTPACK_FPUI_CONF_OPTS = \
	-DCMAKE_BUILD_TYPE=Release \
	-DBELTPACK_STATIC_CXX=OFF \
	-DBELTPACK_SIM=OFF \
	-DBELTPACK_TESTS=OFF

# The user of the unit and of the device rules, for systems without systemd-sysusers too.
define BELTPACK_FPUI_USERS
	beltpack -1 beltpack -1 * - - - Front panel of the beltpack
endef

# With neither systemd nor eudev the files for them are of no use. The controller starts the daemon, so the units are
# installed and not enabled.
ifeq ($(BR2_INIT_SYSTEMD),)
define BELTPACK_FPUI_REMOVE_UNITS
	rm -rf $(TARGET_DIR)/usr/lib/sysusers.d/beltpack-fpui.conf \
		$(TARGET_DIR)/usr/lib/systemd/system/beltpack-fpui*
endef
BELTPACK_FPUI_POST_INSTALL_TARGET_HOOKS += BELTPACK_FPUI_REMOVE_UNITS
endif

# What the panel's paths need; see the notes in board/beltpack-panel.dtsi.
define BELTPACK_FPUI_LINUX_CONFIG_FIXUPS
	$(call KCONFIG_ENABLE_OPT,CONFIG_EXPERT)
	$(call KCONFIG_ENABLE_OPT,CONFIG_GPIO_SYSFS)
	$(call KCONFIG_ENABLE_OPT,CONFIG_SPI_IMX)
	$(call KCONFIG_ENABLE_OPT,CONFIG_SPI_SPIDEV)
	$(call KCONFIG_ENABLE_OPT,CONFIG_LEDS_PCA963X)
	$(call KCONFIG_ENABLE_OPT,CONFIG_INPUT_EVDEV)
	$(call KCONFIG_ENABLE_OPT,CONFIG_KEYBOARD_GPIO)
	$(call KCONFIG_ENABLE_OPT,CONFIG_KEYBOARD_SNVS_PWRKEY)
	$(call KCONFIG_ENABLE_OPT,CONFIG_INPUT_MISC)
	$(call KCONFIG_ENABLE_OPT,CONFIG_INPUT_GPIO_ROTARY_ENCODER)
endef

$(eval $(cmake-package))
