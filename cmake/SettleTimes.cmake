# Run by CPack before it packs: each file has the time of the commit, so that packages do not tell when they were made.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    execute_process(COMMAND find ${CPACK_TEMPORARY_INSTALL_DIRECTORY} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +
        COMMAND_ERROR_IS_FATAL ANY)
endif()
