/**
 * Typed calls: the built-in handler {@code objects}, through which other runtimes make Java objects,
 * call their methods, implement interfaces and iterate, and the encoding that it shares with {@link
 * com.ferrolink.Ferrolink#as}. Programs use {@link com.ferrolink.core.objects.FunctionException} alone;
 * the rest is for the use of the archive and of native code.
 */
package com.ferrolink.core.objects;
