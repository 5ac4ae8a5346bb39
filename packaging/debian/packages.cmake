# The Debian packages, made by "cpack -G DEB" in a build folder whose install prefix is /usr.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR ${PROJECT_NAME})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL ${library_package} libazurestackpi-dev azsbackup azurestack-sim)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "azurestackpi developers <azurestackpi@localhost>" CACHE STRING
  "who answers for the Debian packages")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# What the programs and the library link against comes from dpkg-shlibdeps. It does not see what is only loaded or run.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(same_library "${library_package} (= ${PROJECT_VERSION})")

# name: of the component and the package; section as Debian has it; summary: one line; the text follows below it.
macro(describe_package name section summary text)
  string(TOUPPER ${name} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}")
endmacro()

describe_package(${library_package} libs "Plug-in that protects Azure Stack virtual machines"
  "A shared library that a backup host loads. It finds the virtual machines of an Azure Stack, takes snapshots of their
disks, hands disks and settings to the host as readable objects, and writes them back on a restore.")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")

describe_package(libazurestackpi-dev libdevel "Host interface of the Azure Stack backup plug-in"
  "The C headers and the pkg-config file with which a host that loads the plug-in is built.")
set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS ${same_library})
set(CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS OFF)

describe_package(azsbackup admin "Backup of Azure Stack virtual machines into restic repositories"
  "A command-line backup host: it checks the way to an Azure Stack, shows what a backup would protect, backs virtual
machines up, verifies the backups and brings machines back. With a systemd timer for a nightly backup.")
set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${same_library}, restic, systemd | systemd-standalone-sysusers")
set(CPACK_DEBIAN_${upper}_PACKAGE_RECOMMENDS "ca-certificates, dbus")
set(CPACK_DEBIAN_${upper}_PACKAGE_SUGGESTS "bash-completion, logrotate")
set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst ${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm ${CMAKE_CURRENT_BINARY_DIR}/conffiles)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/conffiles
  "${full_config_dir}/azurestack.conf\n${full_config_dir}/azsbackup.env\n/etc/logrotate.d/azsbackup\n")

describe_package(azurestack-sim devel "Simulated Azure Stack for trying and testing backups"
  "Resource Manager and both login authorities of an Azure Stack in one process, with machines, disks, networks and
scripted faults. The blob server that holds its disks is installed apart, with npm.")
set(CPACK_DEBIAN_${upper}_PACKAGE_SUGGESTS "azsbackup, nodejs, npm")

include(CPack)
