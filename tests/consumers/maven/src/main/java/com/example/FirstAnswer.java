package com.example;

import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import java.nio.charset.StandardCharsets;
import java.nio.file.Paths;

public final class FirstAnswer {

    public static void main(String[] arguments) {
        try (Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP)) {
            cpp.loadLibrary(Paths.get(arguments[0]).toAbsolutePath());
            byte[] answer = cpp.call("reverse", arguments[1].getBytes(StandardCharsets.UTF_8));
            System.out.println(new String(answer, StandardCharsets.UTF_8));
        }
    }
}
