# The reference documentation: `cmake --build build --target docs` writes HTML from the public
# headers to build/docs/html. Any doxygen warning (an undocumented function, argument, type,
# field or value) fails the target, and the DocsBuildWithoutWarnings test.
find_package(Doxygen)
if(NOT DOXYGEN_FOUND)
  message(FATAL_ERROR "doxygen is needed for the docs target (scripts/install-deps.sh installs "
                      "it); configure with -DPLAYERSDK_BUILD_DOCS=OFF to build without it")
endif()

set(DOXYGEN_PROJECT_NAME PlayerSDK)
set(DOXYGEN_PROJECT_NUMBER ${PROJECT_VERSION})
set(DOXYGEN_PROJECT_BRIEF "Network video player library for Linux")
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/docs)
set(DOXYGEN_GENERATE_HTML YES)
set(DOXYGEN_GENERATE_LATEX NO)
set(DOXYGEN_OPTIMIZE_OUTPUT_FOR_C YES)
set(DOXYGEN_EXTRACT_ALL NO)
set(DOXYGEN_WARN_IF_UNDOCUMENTED YES)
set(DOXYGEN_WARN_IF_DOC_ERROR YES)
set(DOXYGEN_WARN_NO_PARAMDOC YES)
set(DOXYGEN_WARN_AS_ERROR YES)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_FULL_PATH_NAMES NO)
set(DOXYGEN_SORT_MEMBER_DOCS NO)
set(DOXYGEN_TYPEDEF_HIDES_STRUCT YES)
set(DOXYGEN_ENABLE_PREPROCESSING YES)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED "PLAYERSDK_API=" "PLAYERDECODER_API=" "__attribute__(x)=")
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/README.md)
set(DOXYGEN_EXAMPLE_PATH ${PROJECT_SOURCE_DIR}/examples)

doxygen_add_docs(docs
  ${PROJECT_SOURCE_DIR}/README.md
  ${PROJECT_SOURCE_DIR}/include/PlayerSDK.h
  ${PROJECT_SOURCE_DIR}/include/PlayerDecoder.h
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  COMMENT "Reference documentation in ${PROJECT_BINARY_DIR}/docs/html")

if(PLAYERSDK_BUILD_TESTS)
  add_test(NAME DocsBuildWithoutWarnings
    COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/Doxyfile.docs
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endif()
