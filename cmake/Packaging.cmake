# The Debian package (scripts/package.sh). Its dependencies are computed by dpkg-shlibdeps from what the
# program and its libraries link; the Qt SQL drivers are plugins loaded at run time, which no link names,
# so they are named here, as are the programs a backup of a PostgreSQL database runs.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME agreement-register)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The agreement register's developers <register@agreementregister.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "register of a company's agreements, with renewals and backups")
set(CPACK_PACKAGE_DESCRIPTION "The register of the agreements (contracts) that a company's departments make
with shops, godowns, customers, suppliers and the head office: numbers and dates, parties and contacts,
details, scanned copies, payments and a printable register. Works on its own embedded database or on a
shared PostgreSQL server.")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_INSTALL_FULL_LIBDIR}/agreement-register)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6sql6-sqlite, libqt6sql6-psql, fonts-dejavu-core")
# The OCR engine's language data is read at run time too.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "postgresql-client, libqt6sql6-odbc, tesseract-ocr-eng, tesseract-ocr-tam")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${AGR_HOMEPAGE})
# Only the program's files: the tests, benchmarks and build tools are not installed.
set(CPACK_STRIP_FILES ON)
include(CPack)
