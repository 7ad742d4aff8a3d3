package com.ferrolink.core.objects;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.lang.invoke.MethodHandle;
import java.lang.reflect.Method;
import java.lang.reflect.Proxy;
import org.junit.jupiter.api.DisplayName;
import org.junit.jupiter.api.Test;

@DisplayName("Default methods of proxies")
final class DefaultMethodsTest {

    private interface Hidden {
        int size();

        default String greet(String name) {
            return name + size();
        }
    }

    private static Method greet(Class<?> type) {
        try {
            return type.getMethod("greet", String.class);
        } catch (NoSuchMethodException missing) {
            throw new AssertionError(missing);
        }
    }

    private static Object greeted(Class<?> type, MethodHandle greet) throws Throwable {
        Object proxy = Proxy.newProxyInstance(DefaultMethodsTest.class.getClassLoader(),
                new Class<?>[] {type}, (self, method, arguments) -> 3);
        return greet.invokeExact(proxy, new Object[] {"x"});
    }

    @Test
    @DisplayName("are found by the archive's own lookup where the interface is public")
    void ownLookup() throws Throwable {
        assertEquals("Hello, x of 3", greeted(Fixtures.Greeting.class,
                DefaultMethods.Way.OWN_LOOKUP.adapted(greet(Fixtures.Greeting.class))));
        assertEquals("Hello, x of 3",
                greeted(Fixtures.Greeting.class, DefaultMethods.find(greet(Fixtures.Greeting.class))));
    }

    @Test
    @DisplayName("are found by a private lookup where it is not")
    void privateLookup() throws Throwable {
        MethodHandle found = DefaultMethods.Way.PRIVATE_LOOKUP.adapted(greet(Hidden.class));
        assertEquals("x3", greeted(Hidden.class, found));
    }
}
