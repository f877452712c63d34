# What differs between deployments of the macOS bundle. Read before anything is compiled.
set(TOVRIN_APPLICATION_BUNDLE_IDENTIFIER "com.tovrin.app" CACHE STRING "Bundle identifier of the main application")
set(TOVRIN_EXTENSION_BUNDLE_IDENTIFIER "${TOVRIN_APPLICATION_BUNDLE_IDENTIFIER}.FileProvider"
    CACHE STRING "Bundle identifier of the extension; begins with the application's and a dot")
set(TOVRIN_APP_GROUP "group.com.tovrin" CACHE STRING "App group of application and extension: TEAM.name or group.name")
set(TOVRIN_APPLICATION_SUPPORT_FOLDER "Tovrin"
    CACHE STRING "Folder in Application Support that is used where there is no app group")
set(TOVRIN_SIGNING_IDENTITY "" CACHE STRING "What the bundle is signed with; empty: not signed by the build")

if(NOT TOVRIN_EXTENSION_BUNDLE_IDENTIFIER MATCHES "^${TOVRIN_APPLICATION_BUNDLE_IDENTIFIER}[.].")
  message(FATAL_ERROR "TOVRIN_EXTENSION_BUNDLE_IDENTIFIER, ${TOVRIN_EXTENSION_BUNDLE_IDENTIFIER}, does not begin with "
                      "${TOVRIN_APPLICATION_BUNDLE_IDENTIFIER} and a dot: the system would not load the extension")
endif()
