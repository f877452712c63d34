# The compiler's settings on macOS.
enable_language(OBJCXX)
set(CMAKE_OBJCXX_STANDARD 23)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
set(CMAKE_OBJCXX_EXTENSIONS OFF)
set(CMAKE_OBJCXX_FLAGS "${CMAKE_OBJCXX_FLAGS} ${CMAKE_CXX_FLAGS}")

# All of it runs in an extension, which may not use everything that an application may.
add_compile_options(-fapplication-extension)

# Older versions of its library hide std::stop_token behind this.
add_compile_definitions(_LIBCPP_ENABLE_EXPERIMENTAL
                        TOVRIN_APPLICATION_BUNDLE_IDENTIFIER="${TOVRIN_APPLICATION_BUNDLE_IDENTIFIER}"
                        TOVRIN_APPLICATION_SUPPORT_FOLDER="${TOVRIN_APPLICATION_SUPPORT_FOLDER}")
