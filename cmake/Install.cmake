# What `cmake --install` puts in place: library, headers, CMake package, pkg-config file. (lum and LumRes.dll say so themselves.)
include(CMakePackageConfigHelpers)

target_compile_features(LumBase PUBLIC cxx_std_20)
set(LUMBASE_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/LumBase)

install(TARGETS LumBase EXPORT LumBaseTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT LumBaseTargets NAMESPACE LumBase:: DESTINATION ${LUMBASE_INSTALL_CMAKE})

# The folders of include/ and framework/ are one folder there; the door keeps its place above the system's headers.
file(GLOB LUMBASE_HEADERS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/include/*.h ${CMAKE_SOURCE_DIR}/framework/*.h
    ${CMAKE_SOURCE_DIR}/platform/*.h)
install(FILES ${LUMBASE_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lumbase)
if(WIN32)
    install(FILES ${CMAKE_SOURCE_DIR}/platform/windows/PlatformWindows.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lumbase/windows)
else()
    # The contract headers, and what they include in turn; the rest of the folder is nobody's but the library's.
    set(contract ${CMAKE_SOURCE_DIR}/platform/linux/PlatformLinux.h)
    while(contract)
        list(POP_FRONT contract header)
        cmake_path(RELATIVE_PATH header BASE_DIRECTORY ${CMAKE_SOURCE_DIR}/platform OUTPUT_VARIABLE name)
        cmake_path(GET name PARENT_PATH folder)
        install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lumbase/${folder})
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
        file(STRINGS ${header} lines REGEX "^#include \"")
        foreach(line ${lines})
            string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
            cmake_path(GET header PARENT_PATH folder)
            cmake_path(ABSOLUTE_PATH included BASE_DIRECTORY ${folder} NORMALIZE)
            if(NOT included IN_LIST seen)
                list(APPEND contract ${included})
                list(APPEND seen ${included})
            endif()
        endforeach()
    endwhile()
endif()

configure_package_config_file(cmake/LumBaseConfig.cmake.in LumBaseConfig.cmake INSTALL_DESTINATION ${LUMBASE_INSTALL_CMAKE})
write_basic_package_version_file(LumBaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/LumBaseConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/LumBaseConfigVersion.cmake
    DESTINATION ${LUMBASE_INSTALL_CMAKE})

# The file finds the prefix from where it lies, so that an installed tree can be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig
    OUTPUT_VARIABLE LUMBASE_PC_TO_PREFIX)
configure_file(cmake/lumbase.pc.in lumbase.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lumbase.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(WIN32)
    # Exceptions cross from the library into programs, so all of them share one runtime; it lies beside them.
    foreach(runtime libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${runtime}
            OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
        if(NOT IS_ABSOLUTE "${path}")
            message(FATAL_ERROR "The compiler does not know where its ${runtime} lies.")
        endif()
        file(COPY ${path} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
        install(FILES ${path} DESTINATION ${CMAKE_INSTALL_BINDIR})
    endforeach()
endif()
