#tag Class
Protected Class App
Inherits ConsoleApplication
	#tag Note, Name = About
		An application that brings its Python along, and needs nothing installed.
	#tag EndNote


	#tag Event
		Function Run(args() as String) As Integer
		  ' The plug-in has looked for Python before this: first in the folder "python" of the resources, which
		  ' the Copy Files step has put there.
		  If Not Quillix.PythonIsFound Then
		    Print "The folder python is missing, and the machine has no Python 2.7."
		    Return 1
		  End If
		  Quillix.Init("shipping")
		  Quillix.AddSearchPath(SpecialFolder.Resources)

		  Var about As PythonModule = Quillix.GetModule("about")
		  If about Is Nil Then
		    Print "The module cannot be imported: " + Quillix.GetError
		    Return 1
		  End If
		  Var result As PythonResult = about.GetFunction("python").Invoke(Nil)
		  If result Is Nil Then
		    Print "Error in Python: " + Quillix.GetError
		    Return 1
		  End If

		  Var answer As PythonParameters = result.TupleValue
		  Var whose As String = "the machine's"
		  If answer.BooleanValue(1) Then whose = "the application's own"
		  Print "Python " + answer.StringValue(0) + ", " + whose
		  Print "it has " + answer.StringValue(2)

		  Quillix.Finalize
		  Return 0
		End Function
	#tag EndEvent


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
