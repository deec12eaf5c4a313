# Finds the Corva library, libcorva.so, of which only the error class is used. Corva_ROOT is its prefix;
# Corva_LIBRARY is its file and Corva_INCLUDE_DIR the folder that holds corva/cCorvaError.h, if they are elsewhere.
# Defines the target Corva::corva. A program that links it records the library's SONAME, or the name of the file,
# without its folder, if the library has no SONAME.
find_library(Corva_LIBRARY NAMES libcorva.so DOC "The Corva library's libcorva.so")
find_path(Corva_INCLUDE_DIR corva/cCorvaError.h DOC "The folder that holds the Corva library's corva/cCorvaError.h")
mark_as_advanced(Corva_LIBRARY Corva_INCLUDE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Corva REQUIRED_VARS Corva_LIBRARY Corva_INCLUDE_DIR)
if(Corva_FOUND AND NOT TARGET Corva::corva)
    add_library(Corva::corva SHARED IMPORTED)
    set_target_properties(Corva::corva PROPERTIES
        IMPORTED_LOCATION ${Corva_LIBRARY}
        IMPORTED_NO_SONAME TRUE
        INTERFACE_INCLUDE_DIRECTORIES ${Corva_INCLUDE_DIR})
endif()
