# Signs one PE file or MSI in place with Authenticode, SHA-256, when a key is given.
# Included by the release step's scripts with FILE set, and KEY (a PKCS#12 file), PASSFILE
# (a file holding its password, read by osslsigncode itself so that the password is on no
# command line), EPOCH (the signing time: the commit's, so that two signed builds agree) and
# TSURL (an optional time-stamping server) passed in.
if(NOT KEY)
    return()
endif()
# A file that carries a signature already (one the agent team shipped signed) keeps its own.
file(REMOVE ${FILE}.signature)  # osslsigncode writes no file over another
execute_process(COMMAND osslsigncode extract-signature -in ${FILE} -out ${FILE}.signature
    RESULT_VARIABLE unsigned OUTPUT_QUIET ERROR_QUIET)
file(REMOVE ${FILE}.signature)
if(unsigned EQUAL 0)
    return()
endif()
set(stamp)
if(TSURL)
    set(stamp -ts ${TSURL})
endif()
execute_process(COMMAND osslsigncode sign -pkcs12 ${KEY} -readpass ${PASSFILE} -h sha256
        -time ${EPOCH} ${stamp} -in ${FILE} -out ${FILE}.signed
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${FILE}.signed ${FILE})
