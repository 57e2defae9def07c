-- Generated from the layouts of the library by layouts_generator; not to be edited.
return {
    classes = {
        PackageBase = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr u8:ackCode u8:commResult
                u8:packResult ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15 ]],
            columns = { 15, 16 },
        },
        PackageRequestRead = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr i32:replyDataLength
                u8:clientPackageType ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr i32:replyDataLength
                u8:clientPackageType u8:ackCode u8:commResult u8:packResult i32:replyDataLength
                u8:clientPackageType ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 i32:replyDataLength@15
                readKind:clientPackageType@16 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                i32:replyDataLength@15 readKind:clientPackageType@16 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                i32:replyDataLength@16 readKind:clientPackageType@17 ]],
            columns = { 17, 18 },
        },
        PackageRequestReadData = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr i32:replyDataLength
                u8:clientPackageType i32:replyDataLength block:data ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 i32:replyDataLength block:data ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr i32:replyDataLength
                u8:clientPackageType i32:replyDataLength block:data u8:ackCode u8:commResult
                u8:packResult i32:replyDataLength u8:clientPackageType i32:replyDataLength
                block:data ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 i32:replyDataLength@15
                readKind:clientPackageType@16 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                i32:replyDataLength@15 readKind:clientPackageType@16 i32:replyDataLength@18
                dataString:data@19 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                i32:replyDataLength@16 readKind:clientPackageType@17 i32:replyDataLength@18
                dataString:data@19 ]],
            columns = { 17, 20 },
            linux = [[ constant:start=85 constant:start=170 s8:status u8:serialNum u8:scrAddr
                u8:desAddr s8:deviceType u8:portAddr u16:scanBoardAddr s8:readWriteCode s8:reserved2
                u16:lowAddr u16:highAddr u16:dataLength ]],
            combinationType = "ReadData",
        },
        PackageRequestReadFile = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr i32:replyDataLength
                u8:clientPackageType uncountedText:fileNameWithPath ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 uncountedText:fileNameWithPath ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr i32:replyDataLength
                u8:clientPackageType uncountedText:fileNameWithPath u8:ackCode u8:commResult
                u8:packResult i32:replyDataLength u8:clientPackageType
                uncountedText:fileNameWithPath ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 i32:replyDataLength@15
                readKind:clientPackageType@16 text:fileNameWithPath@17 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                i32:replyDataLength@15 readKind:clientPackageType@16 text:fileNameWithPath@18 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                i32:replyDataLength@16 readKind:clientPackageType@17 text:fileNameWithPath@18 ]],
            columns = { 18, 19 },
            combinationType = "ReadFile",
        },
        PackageRequestReadMemData = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr i32:replyDataLength
                u8:clientPackageType ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr i32:replyDataLength
                u8:clientPackageType u8:ackCode u8:commResult u8:packResult i32:replyDataLength
                u8:clientPackageType ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 i32:replyDataLength@15
                readKind:clientPackageType@16 i32:offset@17 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                i32:replyDataLength@15 readKind:clientPackageType@16 i32:offset@18 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                i32:replyDataLength@16 readKind:clientPackageType@17 i32:offset@18 ]],
            columns = { 18, 19 },
        },
        PackageRequestWrite = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType u8:ackCode u8:commResult u8:packResult flag:broadcast
                u8:clientPackageType ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 flag:broadcast@15
                writeKind:clientPackageType@16 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@15 writeKind:clientPackageType@16 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@16 writeKind:clientPackageType@17 ]],
            columns = { 17, 18 },
        },
        PackageRequestWriteData = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType i32:packageDataLength block:data back:data ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType i32:packageDataLength block:data back:data u8:ackCode
                u8:commResult u8:packResult flag:broadcast u8:clientPackageType
                i32:packageDataLength block:data back:data ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 flag:broadcast@15
                writeKind:clientPackageType@16 i32:packageDataLength@17 dataString:data@18 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@15 writeKind:clientPackageType@16 i32:packageDataLength@18
                dataString:data@19 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@16 writeKind:clientPackageType@17 i32:packageDataLength@18
                dataString:data@19 ]],
            columns = { 19, 20 },
            linux = [[ constant:start=85 constant:start=170 s8:status u8:serialNum u8:scrAddr
                u8:desAddr s8:deviceType u8:portAddr u16:scanBoardAddr s8:readWriteCode s8:reserved2
                u16:lowAddr u16:highAddr u16:dataLength ]],
            combinationType = "writeData",
        },
        PackageRequestWriteIP = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType i32:packageDataLength block:data back:data ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType i32:packageDataLength block:data back:data u8:ackCode
                u8:commResult u8:packResult flag:broadcast u8:clientPackageType
                i32:packageDataLength block:data back:data ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 flag:broadcast@15
                writeKind:clientPackageType@16 i32:packageDataLength@17 dataString:data@18 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@15 writeKind:clientPackageType@16 i32:packageDataLength@18
                dataString:data@19 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@16 writeKind:clientPackageType@17 i32:packageDataLength@18
                dataString:data@19 ]],
            columns = { 19, 20 },
            linux = [[ constant:start=85 constant:start=170 s8:status u8:serialNum u8:scrAddr
                u8:desAddr s8:deviceType u8:portAddr u16:scanBoardAddr s8:readWriteCode s8:reserved2
                u16:lowAddr u16:highAddr u16:dataLength ]],
        },
        PackageRequestWriteFile = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType i32:fileNameSize text:fileNameWithPath i32:offset ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType i32:fileNameSize text:fileNameWithPath i32:offset u8:ackCode
                u8:commResult u8:packResult flag:broadcast u8:clientPackageType i32:fileNameSize
                text:fileNameWithPath i32:offset ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 flag:broadcast@15
                writeKind:clientPackageType@16 text:fileNameWithPath@17 i32:offset@18 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@15 writeKind:clientPackageType@16 text:fileNameWithPath@17
                i32:offset@18 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@16 writeKind:clientPackageType@17 text:fileNameWithPath@18
                i32:offset@19 ]],
            columns = { 19, 20 },
            combinationType = "writeFile",
        },
        PackageRequestWriteMemData = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr flag:broadcast
                u8:clientPackageType u8:ackCode u8:commResult u8:packResult flag:broadcast
                u8:clientPackageType ]],
            requestRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 flag:broadcast@15
                writeKind:clientPackageType@16 i32:offset@17 i32:packageDataLength@18 ]],
            replyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@15 writeKind:clientPackageType@16 i32:offset@17
                i32:packageDataLength@18 ]],
            writtenReplyRecord = [[ positiveI32:serialNum@0 escaped:deviceKey@1 i32:deviceType@2
                u8:scrAddr@3 u8:desAddr@4 u8:portAddr@5 u16:scanBoardAddr@6 u16:highAddr@7
                u16:lowAddr@8 positiveU32:reserved2@9 access:readWriteCode@10 i32:timeout@11
                text:tag@12 result:commResult@13 result:packResult@14 positiveI32:ackCode@15
                flag:broadcast@16 writeKind:clientPackageType@17 i32:offset@18
                i32:packageDataLength@19 ]],
            columns = { 19, 20 },
        },
        SpecialPackageRequest = {
            request = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr ]],
            shortReply = [[ constant:marker=0 u16:serialNum u8:ackCode u8:commResult u8:packResult
                at:6 ]],
            fullReply = [[ constant:marker=0 sizedText:deviceKey sizedText:tag i32:timeout
                u16:serialNum u8:scrAddr u8:desAddr u8:deviceType u8:portAddr u16:scanBoardAddr
                access:readWriteCode u8:reserved2 u16:lowAddr u16:highAddr u8:ackCode u8:commResult
                u8:packResult ]],
            requestRecord = [[ i32:id@0 positiveU32:timeout@1 text:strData@2 ]],
            replyRecord = [[ i32:id@0 positiveU32:timeout@1 text:strData@2 positiveI32:ackCode@15 ]],
            writtenReplyRecord = [[ i32:id@0 positiveU32:timeout@1 text:strData@2
                positiveI32:ackCode@3 ]],
            columns = { 3, 16 },
        },
    },
    order = {
        "PackageBase",
        "PackageRequestRead",
        "PackageRequestReadData",
        "PackageRequestReadFile",
        "PackageRequestReadMemData",
        "PackageRequestWrite",
        "PackageRequestWriteData",
        "PackageRequestWriteIP",
        "PackageRequestWriteFile",
        "PackageRequestWriteMemData",
        "SpecialPackageRequest",
    },
    names = {
        readWriteCode = {
            [0] = "read",
            [1] = "write",
        },
        clientPackageType = {
            [0] = "data",
            [1] = "file",
            [2] = "memData",
        },
        commResult = {
            [0] = "pending",
            [1] = "ok",
            [2] = "crcErr",
            [3] = "lengthErr",
            [4] = "portErr",
            [5] = "timeout",
            [6] = "codeErr",
            [7] = "forcedCancel",
        },
        packResult = {
            [0] = "ok",
            [1] = "fileErr",
            [2] = "memErr",
            [3] = "fileDeleteErr",
            [4] = "directoryCreateErr",
            [5] = "invalidPort",
            [6] = "parseFailure",
            [7] = "messageDisconnect",
            [8] = "forceCancel",
            [9] = "sendError",
            [10] = "parsePackAddrFailure",
            [245] = "failure",
            [246] = "disConnect",
            [247] = "fileNoExist",
            [248] = "fileReadFailure",
            [249] = "fileCreatFailure",
            [250] = "fileWriteFailure",
            [251] = "deviceSpaceNoEnough",
            [252] = "cancelWait",
            [253] = "cancel",
            [254] = "abort",
            [255] = "timeOut",
        },
    },
    descriptions = {
        ackCode = "acknowledge code of the device: 0 success",
        broadcast = "whether the write goes to all devices",
        checksum = "0x5555 plus all bytes from offset 2 on, modulo 0x10000",
        clientPackageType = "kind of payload",
        commResult = "outcome of the transport",
        data = "the data itself",
        dataLength = "how much is read or written",
        desAddr = "address of the destination",
        deviceKey = "key of the device or connection",
        deviceKeySize = "size of the device key",
        deviceType = "type of the device",
        fileNameSize = "size of the file name",
        fileNameWithPath = "name of the file",
        fileNameWithPathSize = "size of the file name",
        highAddr = "register address, high word",
        id = "id of the special request",
        lowAddr = "register address, low word",
        marker = "kind of frame: 0 request or short reply, 1 full reply",
        offset = "where in the file or memory it begins",
        packResult = "outcome of the request",
        packageDataLength = "how much is written",
        portAddr = "port of the device",
        readWriteCode = "direction of the access",
        replyDataLength = "how much a read asks for or brings",
        reserved2 = "reserved",
        scanBoardAddr = "address of the scan board",
        scrAddr = "address of the screen",
        serialNum = "ties a reply to its request",
        start = "start of a Linux frame, 55 AA",
        status = "outcome: 0 success; sets all three results",
        strData = "text of the special request",
        tag = "the client's own label",
        tagSize = "size of the tag",
        timeout = "time-out, in the unit of the peers",
    },
}
