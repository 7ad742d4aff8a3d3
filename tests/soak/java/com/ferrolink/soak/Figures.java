package com.ferrolink.soak;

import com.ferrolink.Ferrolink;
import com.ferrolink.RuntimeId;
import java.io.File;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import javax.management.JMException;
import javax.management.ObjectName;

/** Memory figures of this process as a JSON object: of Java, of the JVM itself, of the C library's heap. */
final class Figures {

    private static final Pattern CATEGORY =
            Pattern.compile("^-\\s+(.+?) \\(reserved=(\\d+)KB, committed=(\\d+)KB", Pattern.MULTILINE);
    private static final Pattern MALLOC = Pattern.compile("\\(malloc=(\\d+)KB");
    private static final Ferrolink CPP = cpp();

    private Figures() {
    }

    static String json() {
        System.gc();
        long heap = ManagementFactory.getMemoryMXBean().getHeapMemoryUsage().getUsed();
        int threads = ManagementFactory.getThreadMXBean().getThreadCount();
        int classes = ManagementFactory.getClassLoadingMXBean().getLoadedClassCount();
        return "{\"javaHeap\":" + heap + ",\"javaThreads\":" + threads + ",\"classes\":" + classes
                + ",\"heap\":" + new String(CPP.call("heap", new byte[0]), StandardCharsets.UTF_8)
                + ",\"jvm\":{" + jvm() + "}}";
    }

    private static Ferrolink cpp() {
        Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP);
        for (String library : System.getenv("SOAK_PLUG_INS").split(File.pathSeparator)) {
            cpp.loadLibrary(library);
        }
        return cpp;
    }

    /** By category: committed memory, and the part of it allocated with malloc, in KiB. */
    private static String jvm() {
        String text = nativeMemory();
        StringBuilder json = new StringBuilder();
        Matcher category = CATEGORY.matcher(text);
        int next = category.find() ? category.start() : -1;
        while (next >= 0) {
            String name = category.group(1);
            String committed = category.group(3);
            int end = category.end();
            next = category.find() ? category.start() : -1;
            Matcher malloc = MALLOC.matcher(text.substring(end, next < 0 ? text.length() : next));
            json.append(json.length() == 0 ? "" : ",").append('"').append(name).append("\":[")
                    .append(committed).append(',').append(malloc.find() ? malloc.group(1) : "0")
                    .append(']');
        }
        return json.toString();
    }

    private static String nativeMemory() {
        try {
            ObjectName commands = new ObjectName("com.sun.management:type=DiagnosticCommand");
            return (String) ManagementFactory.getPlatformMBeanServer().invoke(commands,
                    "vmNativeMemory", new Object[] {new String[] {"summary", "scale=KB"}},
                    new String[] {String[].class.getName()});
        } catch (JMException none) {
            throw new IllegalStateException("the JVM does not tell of its native memory", none);
        }
    }
}
