# What orqcam is built on; scripts/dependencies installs all of it on Debian.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(LIBUSB REQUIRED IMPORTED_TARGET libusb-1.0)
pkg_check_modules(LOG4CPP REQUIRED IMPORTED_TARGET log4cpp)
pkg_check_modules(CFITSIO REQUIRED IMPORTED_TARGET cfitsio)
find_package(PNG REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
