package com.ferrolink.test.objects;

import com.ferrolink.Ferrolink;
import com.ferrolink.FunctionName;
import com.ferrolink.RemoteException;
import com.ferrolink.RuntimeId;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** Calls typed C++ functions through an interface, and reports the results. */
public final class TypedCalls {

    /** Functions of the test's process. */
    public interface Functions {
        double sum(double[] values);

        String describe(boolean a, byte b, char c, long d, float e, String text, String[] names);

        @FunctionName("size-of")
        int sizeOf(List<?> list);

        Object same(Object object);

        List<String> append(List<String> list, String text);

        void fail(String text);

        @FunctionName("sum")
        double sumOfTexts(String text);

        @FunctionName("sum")
        double sumOfTwo(double[] values, int more);
    }

    private TypedCalls() {
    }

    /** The results, one a line. */
    public static String run() {
        StringBuilder lines = new StringBuilder();
        try (Ferrolink cpp = Ferrolink.inMemory(RuntimeId.CPP)) {
            Functions functions = cpp.as(Functions.class);
            lines.append(functions.sum(new double[] {1, 2, 3.5})).append('\n');
            lines.append(functions.sum(new double[100_000])).append('\n');
            lines.append(functions.describe(true, (byte) -1, '\u20AC', 1L << 40, 0.5f, "text",
                    new String[] {"a", null})).append('\n');
            lines.append(functions.sizeOf(Arrays.asList(1, 2, 3))).append('\n');
            Object object = new Object();
            lines.append(functions.same(object) == object).append('\n');
            lines.append(functions.same(null) == null).append('\n');
            lines.append(functions.append(new ArrayList<>(), "added")).append('\n');
            try {
                functions.fail("on purpose");
            } catch (RemoteException thrown) {
                lines.append(thrown.getMessage()).append('\n');
            }
            for (Runnable wrong : new Runnable[] {() -> functions.sumOfTexts("x"),
                () -> functions.sumOfTwo(new double[0], 1)}) {
                try {
                    wrong.run();
                } catch (IllegalArgumentException thrown) {
                    lines.append(thrown.getMessage().replace('\n', ' ')).append('\n');
                }
            }
        }
        return lines.toString();
    }
}
